// What vnqctl decode makes of bytes of one side and of captures.
#include "tools/decode/decode_command.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>

#include "host/settings/ansi_code_page.h"
#include "platform/system/code_page.h"
#include "support/base64_text.h"
#include "tests/harness/app_folder.h"
#include "tools/decode/capture_file.h"
#include "tools/decode/port_stream.h"

namespace vnq {
namespace {

struct Decoded {
  int exitCode;
  std::string out, err;
};

Decoded Decode(const DecodeOptions& options, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out, err;
  const int exitCode = RunDecodeCommand(options, in, out, err);
  return {exitCode, out.str(), err.str()};
}

// --- Bytes of one side ---

TEST(Decode, NamesTheFieldsOfWhatAClientSentAndHidesThePassword) {
  const std::string bytes = Base64EncodeBytes(".+landing|ann|secret|A|t|Acme|1|#.+y|#");
  const char* const shown =
      "client > 6004 .+landing\n"
      "    UserName: ann\n"
      "    password: (hidden)\n"
      "    NetworkIP or platform: A\n"
      "    Mac or push identifier: t\n"
      "    manufacturer: Acme\n"
      "    version: 1\n"
      "client > 6004 .+y\n";
  EXPECT_EQ(Decode({.from = Side::kClient}, bytes).out, shown);
  EXPECT_NE(Decode({.from = Side::kClient, .passwords = true}, bytes).out.find("password: secret"),
            std::string::npos);
}

TEST(Decode, SeveralTextsOfTheServerInTheCodePageAreAsManyRecords) {
  const std::string bytes = Base64EncodeBytes(".+new_is_offline|7|#") +
                            Base64EncodeBytes(".+busy_force|\xD5\xC5|#") +
                            Base64EncodeBytes(".+landing_restrictions");
  EXPECT_EQ(Decode({}, bytes).out,
            "client < 6004 .+new_is_offline\n    UserID: 7\n"
            "client < 6004 .+busy_force\n    address or reason: 张\n"
            "client < 6004 .+landing_restrictions\n");
}

TEST(Decode, LineFeedsBehindARecordAreNoPartOfIt) {
  const std::string bytes = Base64EncodeBytes(".+go_away|3|#\n\n") + Base64EncodeBytes(".+y|#\n");
  EXPECT_EQ(Decode({.from = Side::kClient}, bytes).out,
            "client > 6004 .+go_away\n    UserID: 3\nclient > 6004 .+y\n");
}

TEST(Decode, ARecordInTwoFormsIsNamedByTheOneThatFits) {
  const std::string longer = Decode({}, Base64EncodeBytes(".+request_remote|2|1|0|0|77|#")).out;
  EXPECT_NE(longer.find("ChatId: 77"), std::string::npos) << longer;
  const std::string shorter = Decode({}, Base64EncodeBytes(".+request_remote|1|now|2|#")).out;
  EXPECT_NE(shorter.find("mode: 2"), std::string::npos) << shorter;
}

TEST(Decode, UnknownWordsAndFieldsTooManyAreShownByTheirNumbers) {
  const std::string bytes = ".+nonsense|a|b|#.+remote_desktop|pc|more|#";
  EXPECT_EQ(Decode({.port = 6003, .from = Side::kClient}, bytes).out,
            "client > 6003 .+nonsense (not known)\n    field 1: a\n    field 2: b\n"
            "client > 6003 .+remote_desktop\n    endpoint: pc\n    field 2: more\n");
}

TEST(Decode, WhatIsNoRecordIsShownAsItIsAndNothingIsNothing) {
  EXPECT_EQ(Decode({.port = 6008}, "\x1b[31mjunk").exitCode, 0);
  EXPECT_EQ(Decode({.port = 6008}, "\x1b[31mjunk").out.find('\x1b'), std::string::npos);
  EXPECT_EQ(Decode({}, "").out, "");
}

TEST(Decode, JsonHasAnObjectALine) {
  EXPECT_EQ(Decode({.from = Side::kServer, .json = true}, Base64EncodeBytes(".+y|#")).out,
            "{\"port\":6004,\"from\":\"server\",\"word\":\".+y\","
            "\"fields\":[{\"name\":\"field 1\",\"value\":\"#\"}]}\n");
}

// --- Captures ---

std::string Number(uint64_t number, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(number >> (8 * i));
  return text;
}

// A capture of Ethernet in the order of bytes of the network.
std::string CaptureOf(const std::vector<std::string>& packets) {
  std::string file = Number(0xA1B2C3D4, 4) + Number(0x00020004, 4) + Number(0, 4) + Number(0, 4) +
                     Number(65535, 4) + Number(1, 4);
  for (const std::string& packet : packets) {
    const auto size = static_cast<uint32_t>(packet.size());
    file += Number(1'700'000'000, 4) + Number(250'000, 4) + Number(size, 4) + Number(size, 4);
    file += packet;
  }
  return file;
}

std::string Packet(uint32_t from, uint32_t to, uint32_t sequence, const std::string& payload,
                   uint32_t flags = 0x18) {
  const auto size = static_cast<uint32_t>(40 + payload.size());
  return std::string(12, '\0') + Number(0x0800, 2) + Number(0x4500, 2) + Number(size, 2) +
         Number(0, 4) + Number(0x4006, 2) + Number(0, 2) + Number(0x7F000001, 4) +
         Number(0x7F000002, 4) + Number(from, 2) + Number(to, 2) + Number(sequence, 4) +
         Number(0, 4) + Number(0x50, 1) + Number(flags, 1) + Number(0, 6) + payload;
}

class DecodeCapture : public ::testing::Test {
 protected:
  Decoded DecodePackets(const std::vector<std::string>& packets) {
    folder_.Write("capture", CaptureOf(packets));
    return Decode({.file = folder_.path() + "/capture"});
  }

  AppFolder folder_;
};

TEST_F(DecodeCapture, BothSidesAreShownWithTheClientAddress) {
  const Decoded decoded =
      DecodePackets({Packet(6004, 5000, 1, Base64EncodeBytes(".+SuccessfulConnection|#")),
                     Packet(5000, 6004, 9, Base64EncodeBytes(".+go_away|3|#")),
                     Packet(5000, 80, 1, "GET / HTTP/1.0\r\n\r\n")});
  EXPECT_EQ(decoded.out,
            "127.0.0.2:5000 < 6004 .+SuccessfulConnection\n"
            "127.0.0.1:5000 > 6004 .+go_away\n    UserID: 3\n");
  EXPECT_EQ(decoded.err, "");
}

TEST_F(DecodeCapture, PacketsOutOfOrderAndTwiceArePutRight) {
  const std::string text = Base64EncodeBytes(".+change_password|3|hello|#");
  const std::string first = text.substr(0, 10), second = text.substr(10, 8),
                    third = text.substr(18);
  const Decoded decoded =
      DecodePackets({Packet(5000, 6004, 99, "", 0x02), Packet(5000, 6004, 110, second),
                     Packet(5000, 6004, 100, first), Packet(5000, 6004, 110, second),
                     Packet(5000, 6004, 105, first.substr(5) + second + third)});
  EXPECT_EQ(decoded.out,
            "127.0.0.1:5000 > 6004 .+change_password\n    UserID: 3\n    new password: (hidden)\n");
}

TEST_F(DecodeCapture, AVisitorsFramesAreReadBehindTheUpgrade) {
  const std::string payload = Base64EncodeBytes(".+customer|1|v|c|Hi|#");
  std::string frame =
      "\x81" + Number(0x80 + static_cast<uint32_t>(payload.size()), 1) + "\x11\x22\x33\x44";
  for (size_t i = 0; i < payload.size(); ++i) {
    frame += static_cast<char>(payload[i] ^ "\x11\x22\x33\x44"[i % 4]);
  }
  const std::string head = "GET /chat HTTP/1.1\r\n\r\n";
  const auto behind = static_cast<uint32_t>(1 + head.size());
  const Decoded decoded =
      DecodePackets({Packet(5000, 6001, 1, head), Packet(5000, 6001, behind, frame.substr(0, 9)),
                     Packet(5000, 6001, behind + 9, frame.substr(9) + frame)});
  const std::string record =
      "127.0.0.1:5000 > 6001 .+customer\n    agents joined by \",\": 1\n    visitor: v\n"
      "    city: c\n    passed on: Hi\n";
  EXPECT_EQ(decoded.out, record + record);
}

// All that both steps make of a capture; nothing is printed.
size_t RecordsIn(std::string_view capture) {
  static const AnsiCodePage page(CodePage::Open(936));
  std::map<std::string, std::unique_ptr<PortStream>> streams;
  size_t records = 0;
  std::string error;
  const bool isRead = ReadCapture(
      capture,
      [&](const CapturedBytes& captured) {
        auto& stream = streams[captured.source];
        if (!stream) stream = PortStream::Of(captured.targetPort, Side::kClient, page);
        records += stream->Feed(captured.bytes).size();
      },
      error);
  EXPECT_TRUE(isRead) << error;
  return records;
}

TEST(CaptureFile, CutOffAnywhereItIsReadAsFarAsItGoes) {
  const std::string whole = CaptureOf({Packet(5000, 6004, 1, Base64EncodeBytes(".+y|#.+y|#")),
                                       Packet(5000, 6004, 17, Base64EncodeBytes(".+y|#"))});
  size_t before = 0;
  for (size_t size = 24; size <= whole.size(); ++size) {
    const size_t records = RecordsIn(whole.substr(0, size));
    EXPECT_GE(records, before) << size;
    before = records;
  }
  EXPECT_EQ(before, 3u);
}

TEST(CaptureFile, DamagedBytesEndInNoCrash) {
  const std::string whole = CaptureOf({Packet(5000, 6004, 1, Base64EncodeBytes(".+y|#.+y|#")),
                                       Packet(5000, 6001, 1, "GET / HTTP/1.1\r\n\r\n"),
                                       Packet(5000, 6001, 19, std::string("\x81\xFF") + "abc")});
  EXPECT_EQ(RecordsIn(whole), 2u);
  unsigned seed = 7;
  for (int round = 0; round < 2000; ++round) {
    std::string damaged = whole;
    for (int i = 0; i < 3; ++i) {
      seed = seed * 1103515245 + 12345;
      damaged[24 + (seed >> 8) % (damaged.size() - 24)] = static_cast<char>(seed >> 16);
    }
    EXPECT_LE(RecordsIn(damaged), 100u) << round;
  }
}

TEST_F(DecodeCapture, WhatCannotBeReadIsNamed) {
  folder_.Write("next", std::string("\x0A\x0D\x0D\x0A\0\0\0\0", 8));
  EXPECT_NE(Decode({.file = folder_.path() + "/next"}).err.find("pcapng"), std::string::npos);
  std::string other = CaptureOf({Packet(1, 2, 3, "x")});
  other[23] = 99;
  folder_.Write("other", other);
  EXPECT_NE(Decode({.file = folder_.path() + "/other"}).err.find("link layer 99"),
            std::string::npos);
  const Decoded missing = Decode({.file = folder_.path() + "/missing"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_NE(missing.err.find("missing: No such file"), std::string::npos) << missing.err;
  EXPECT_EQ(Decode({.codePage = 4}).exitCode, 2);
}

}  // namespace
}  // namespace vnq
