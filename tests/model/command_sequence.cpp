#include "tests/model/command_sequence.h"

#include <fmt/format.h>

namespace vnq::model {
namespace {

const std::vector<std::string> kUsers = {"1", "2", "3", "4", "m5", "6", "99"};
const std::vector<std::string> kTags = {"1", "1m", "2", "2m", "3", "3m", "m5", "m5m", "6", ""};
const std::vector<std::string> kGroups = {"Clot000001", "Clot000002", "Clot000009"};
const std::vector<std::string> kIds = {"A1", "A2", "a2", "A3", "B1", "B2", "0", "00", ""};
const std::vector<std::string> kTexts = {
    "hello",    "",          "two%20words",  "a.+b", "a stop b",      "very bad, bad",
    "{x@call}", "%7Bh@x%7D", "%u4E2D%u6587", "你好", "stop bad {c@}", "a.+y|b"};
const std::vector<std::string> kStates = {"0", "1", "2", "3", "1", "3", "7", "x"};

}  // namespace

std::string Told(const Deed& deed) {
  switch (deed.kind) {
    case Deed::Kind::kConnect:
      return "connect from " + deed.address;
    case Deed::Kind::kLeave:
      return fmt::format("client {} leaves", deed.client);
    case Deed::Kind::kSecond:
      return "a second";
    case Deed::Kind::kSweep:
      return "twenty seconds";
    case Deed::Kind::kElsewhere:
      return "another program clears IsAck4 of " + deed.msgId;
    case Deed::Kind::kSend:
      break;
  }
  std::string line = "send";
  for (const Read& read : deed.reads) line += fmt::format("  [{}] {}", read.client, read.text);
  return line;
}

std::string CommandSequence::Message() {
  const bool toGroup = Below(3) == 0;
  return fmt::format("{}|{}|{}|{}|font|{}|{}|#", toGroup ? ".+clot_messeng" : ".+message",
                     toGroup ? One(kGroups) : One(kUsers), One(kUsers), One(kTexts), One(kIds),
                     One({"1", "1", "2", "5", "x"}));
}

std::string CommandSequence::AnyRecord() {
  const std::string user = One(kUsers), other = One(kUsers), text = One(kTexts);
  switch (Below(48)) {
    case 0:
    case 1:
      return fmt::format(".+landing|name{}|{}|{}|{}|maker|{}", user,
                         One({"pw" + user, "pw1", " pw2 "}), One({"192.168.0.7", "i", ""}),
                         One({"AA-BB", "kefu", "push"}), One({"#", "5|#", "9|#", "x|#"}));
    case 2:
      return ".+phone_log|" + user + "|#";
    case 3:
      return ".+request_data_synchronization_online|" + text + "|#";
    case 4:
    case 5:
    case 6:
    case 7:
      return ".+successful_online|" + user + "|" + One(kStates) + "|#";
    case 8:
      return ".+change_password|" + user + "|" + One({"pw" + user, " new ", ""}) + "|#";
    case 9:
      return fmt::format(".+modify_data|{}|job|Name {}|{}|e|t1|t2|a|s|c|{}|ico|#", user, user,
                         Below(90), text);
    case 10:
      return ".+modify_isverify|" + user + "|" + One({"0", "1", "2", "x"}) + "|#";
    case 11:
      return ".+modify_isSilence|" + user + "|" + One({"Clot000001", "19", "20"}) + "|" +
             One({"0", "1", "2"}) + "|#";
    case 12:
      return ".+offline|" + user + "|#";
    case 13:
      return One({".+stealth|", ".+go_away|", ".+on_line|"}) + user + "|#";
    case 14:
      return fmt::format(".+retract|{}|{}|{}|a|b|#", One({"0", "1", "2"}),
                         One({user, "Clot000001"}), other);
    case 15:
      return fmt::format(".+mass_information|{}*{}**{}|{}|{}|{}|#", One({user, "Clot000001"}),
                         other, One({"", "Clot000002"}), One(kUsers), text,
                         One({"1", "1", "2", "x"}));
    case 16:
      return fmt::format(".+reply_transmission|r|{}|x|#", One(kTags));
    case 17:
      return ".+jitter_window|" + user + "|" + other + "|#";
    case 18:
      return fmt::format(".+meeting_force|f|{}|x|y|#", One(kTags));
    case 19:
      return fmt::format(".+notification|{}|{},,{}|title|{}|link|#", user, other, One(kUsers),
                         text);
    case 20:
      return ".+y|#";
    case 21:
      return fmt::format(".+meeting_message|{}|{}|{}|{}|{}|{}|{}|{}|#", user, other,
                         One({"0", "1", "x"}), One({"1", "2", ""}), One({"", "1"}),
                         One({"0", "1", "2", "3"}), One({"", "5"}), One({"41", "42", "43", "x"}));
    case 22:
      return fmt::format(".+request_remote|{}|{}|{}|#", user, other, One({"1", "2", "2"}));
    case 23:
      return fmt::format("{}|{}|{}|yes|#", One({".+reply_request_remote", ".+remote_control"}),
                         user, other);
    case 24:
      return fmt::format("{}|{}|{}|#",
                         One({".+modify_personal_pictures", ".+clear_personal_pictures"}), user,
                         Below(5));
    case 25:
      return fmt::format(".+request_personalized_photos|{}|{}|{}|{}|#", user, One({"1", "2", "3"}),
                         One({other, "Clot000001", "Clot000002"}), One({"0", "1", "7", "7x", ""}));
    case 26:
      return ".+delete_bulletin|" + user + "|" + One({"motif", "none"}) + "|#";
    case 27:
      return ".+shared_notice|" + user + "|" + One({"1\\2", "", "3\\", other}) + "|#";
    case 29:
    case 30: {
      const std::string list = One({"1:1:Ann-2:0:Ben-", "m5:0:Eve-", "4:1:Dan-4:0:Dan-3:x:Cid-", "",
                                    "6:0:Fay", user + ":1:New-" + other + ":0:-"});
      return fmt::format("{}|{}|{}|{}|#", One({".+add_group_members", ".+modify_group_members"}),
                         other, One(kGroups), list);
    }
    case 31:
      return fmt::format(".+del_group_members|{}|{}|{}|#", user, One(kGroups),
                         One({other, user + "," + other + ",", "", "1,2"}));
    case 32:
      return fmt::format(".+set_group_administrator|{}|{}|{}:{}|#", user, One(kGroups), other,
                         One({"0", "1", "2", "x"}));
    case 33:
      return fmt::format(".+new_group_information|{}|Group {}|remark|{}|{}|#", user, Below(9),
                         other, One({"1:1:Ann-2:0:Ben-", user + ":1:Me-" + other + ":0:You-", ""}));
    case 34:
      return fmt::format(".+modify_group_information|{}|{}|Name {}|remark|{}|#", user, One(kGroups),
                         Below(9), other);
    case 35:
      return fmt::format("{}|{}|{}|{}|#", One({".+modify_group_photos", ".+clear_group_photos"}),
                         user, One(kGroups), Below(5));
    case 28:
      return ".+offline_request_web_information|" + user + "|#";
    case 36:
    case 37:
    case 38:
      return fmt::format(".+messengverify|{}|{}|please|{}|{}|#", user, other,
                         One({"1|1|1", "1|1|1", "1|1|2", "1|2|1", "1|3|1"}),
                         One({"1", "2", "3", "0", "x"}));
    case 39:
    case 40:
    case 41:
      return fmt::format(".+messengverify|{}|{}|let me in|2|{}|{}|#", One(kGroups), user,
                         One({"1|1", "1|2", "1|2", "2|1", "2|2", "3|1", "4|x"}),
                         One({"0", "1", "2", "3", "7"}));
    case 42:
      return fmt::format(".+upload_files|%2Fa+{}|12 KB|{}|{}|{}|b%2Fc|{}|#", text, user,
                         One({other, "Clot000001"}), One({"1", "2", "2", "3", "x"}), One(kIds));
    case 43:
      return ".+request_synchronous_LOGO|" + user + "|" + One({"0", "3", "3x", "", "x"}) + "|#";
    case 44:
      return fmt::format(".+customer|{}|{}|City|{}|#", One({user, user + ",," + other, ""}),
                         One({"v1", "v2", other, ""}), text);
    case 45:
      return fmt::format(".+customer_information|{}|{}|City|{}|#", user, One({"v1", "v2"}), text);
    case 46:
      return fmt::format(
          ".+interface_information|{}|{}|title|{}|link|{}|#", One({"name" + user, "nobody"}),
          One({"name" + other, "name1,,NAME2,none", "Clot000001,One", "*", "5", "x"}), text,
          One({"0", "1", "11", "3", "4", "5", "2", ""}));
    default:
      return Message();
  }
}

std::string CommandSequence::Spoilt(std::string record) {
  const size_t bar = record.find('|', Below(record.size()));
  switch (Below(6)) {
    case 0:
      return ".+" + record;
    case 1:
      return record.insert(2, "X");
    case 2:
      return record.insert(Below(record.size() + 1), Below(2) == 0 ? "\r" : "\n");
    case 3:
      return "no command|" + record;
    default:
      return bar == record.npos ? record : record.substr(0, bar) + "|#";
  }
}

// A message may be cut in two; its second part comes with a later read.
std::string CommandSequence::ReadText() {
  if (!rest_.empty() && Below(2) == 0) return std::exchange(rest_, {});
  if (Below(8) == 0) {
    const std::string message = Message();
    const size_t cut = 10 + Below(message.size() - 11);
    rest_ = message.substr(cut);
    return message.substr(0, cut);
  }
  std::string text;
  for (size_t left = 1 + Below(3); left > 0; --left) {
    text += Below(10) == 0 ? Spoilt(AnyRecord()) : AnyRecord();
  }
  return text;
}

Deed CommandSequence::Send(size_t clients) {
  Deed deed;
  deed.kind = Deed::Kind::kSend;
  for (size_t left = 1 + Below(Below(3) == 0 ? 5 : 2); left > 0; --left) {
    deed.reads.push_back({Below(clients), ReadText()});
  }
  return deed;
}

Deed CommandSequence::Next(size_t clients) {
  const size_t choice = Below(20);
  Deed deed;
  if (clients == 0 || (clients < 9 && choice < 4) || (clients < 3 && choice < 12)) {
    deed.kind = Deed::Kind::kConnect;
    deed.address = One({"127.0.0.1", "127.0.0.2"});
  } else if (choice == 4) {
    deed.kind = Deed::Kind::kLeave;
    deed.client = Below(clients);
  } else if (choice < 8) {
    deed.kind = Below(5) == 0 ? Deed::Kind::kSweep : Deed::Kind::kSecond;
  } else if (choice == 8) {
    deed.kind = Deed::Kind::kElsewhere;
    deed.msgId = One(kIds);
  } else {
    return Send(clients);
  }
  return deed;
}

}  // namespace vnq::model
