// Reads of somebody who has not logged in, on a server with its walls up, beside one who has.
//
// Input: see reads.h. Whatever it is, nobody hears of it, no message and no change of a user is
// stored, and the next good record of the other is answered.
#include "tests/harness/walls.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz/reads.h"

namespace {

constexpr const char* kWalls =
    "login_first=yes\nsender_is_user=yes\nphone_log_from=none\ninterface_information_from=none\n"
    "control_from=none\nendpoint_from=none\nrecords_per_second=50\nunlimited_from=127.0.0.99\n"
    "longest_record=2000\nlongest_list=20\nlogin_failures=5\nlogin_slowdown_ms=100\n"
    "hide_passwords_in_log=yes\nsweep_all_ports=yes\nclear_slots=yes\nreceipt_when_stored=yes\n";

void Require(bool promise) {
  if (!promise) std::abort();
}

struct Play {
  vnq::TestServer server{vnq::WithWalls(kWalls)};
  vnq::TestClient user;
  std::string before;

  Play() : user(MakeUser()) {
    user.Send(".+landing|name1|a password that no input has|10.0.0.1|mac|x|#");
    Require(user.Receive().find(".+landing_successful|1|") != std::string::npos);
    server.AdvanceMs(20'000);
    before = Stored();
  }
  vnq::TestClient MakeUser() {
    server.AddUser("1", {"UserPaws=a password that no input has"});
    server.AddUser("2", {"UserPaws=nor this one", "Registration_Id=push"});
    return server.Connect("127.0.0.99");
  }

  std::string Stored() {
    std::string rows = server.Value("select count(*) from Messeng_Text");
    for (const std::string& row : server.Rows("select * from Users_ID order by UserID"))
      rows += row;
    return rows;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::unique_ptr<Play> play = std::make_unique<Play>();
  {
    vnq::TestClient stranger = play->server.ConnectTo(6004);
    vnq::FeedReads(stranger, data, size);
  }
  play->server.AdvanceMs(20'000);
  Require(play->user.Receive().empty());
  Require(play->Stored() == play->before);
  play->user.Send(".+y|#");
  Require(play->user.Receive() == ".+y|#");
  return 0;
}
