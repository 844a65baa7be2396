// Any text as a member list, a list of receivers, a font and an administrator's mark, through a
// server with a group.
//
// Members that were there stay unless a command took them, and the next message still reaches the
// group.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "tests/harness/test_server.h"

namespace {

constexpr int kInputsOfAServer = 200;

void Require(bool promise) {
  if (!promise) std::abort();
}

struct Group {
  Group() : server(), ann(server.Connect()), ben(server.Connect()) {
    server.AddUser("1");
    server.AddUser("2");
    server.Run("insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Group')");
    ann.Send(".+successful_online|1|1|#");
    ben.Send(".+successful_online|2|1|#");
  }

  void MakeMembersAnew() {
    server.Run(
        "delete from Clot_Form;"
        "insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values('Clot000001','1',1,'Ann');"
        "insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values('Clot000001','2',0,'Ben')");
  }

  // Text of the code page, as it is once it has travelled.
  std::string Travelled(std::string_view bytes) {
    std::string text = server.page().FromBytes(bytes);
    for (const char mark : {'\r', '\n', '|'}) std::erase(text, mark);
    for (size_t at; (at = text.find(".+")) != text.npos;) text.erase(at, 2);
    return text;
  }

  vnq::TestServer server;
  vnq::TestClient ann, ben;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::unique_ptr<Group> group;
  static int inputs = 0;
  if (inputs++ % kInputsOfAServer == 0) {
    group.reset();
    group = std::make_unique<Group>();
  }
  if (size == 0) return 0;
  static int messages = 0;
  const std::string text = group->Travelled({reinterpret_cast<const char*>(data + 1), size - 1});
  group->MakeMembersAnew();
  const char* words[] = {".+add_group_members|1|Clot000001|",
                         ".+modify_group_members|1|Clot000001|",
                         ".+del_group_members|1|Clot000001|",
                         ".+set_group_administrator|1|Clot000001|",
                         ".+new_group_information|1|Name|Remark|1|",
                         ".+notification|1|",
                         ".+shared_notice|1|",
                         ".+mass_information|"};
  group->ann.Send(words[data[0] % 8] + text + "|1|text|1|#");
  if (data[0] % 8 == 0) {
    Require(group->server.Value("select count(*) from Clot_Form where UserID in('1','2')") >= "2");
  }
  group->MakeMembersAnew();
  group->server.Tick();
  group->ben.Receive();
  const std::string id = "F" + std::to_string(++messages);
  group->ann.Send(".+clot_messeng|Clot000001|1|hello|" + text + "|" + id + "|1|#");
  group->server.Tick();
  Require(group->ben.Receive().find("|" + id + "|2|1|#") != std::string::npos);
  group->ann.Receive();
  return 0;
}
