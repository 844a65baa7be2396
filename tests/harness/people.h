// A server with a few users, for tests of what passes between people's devices.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "host/values/skipped.h"
#include "tests/harness/lines.h"
#include "tests/harness/test_server.h"

namespace vnq {

/// Users "1" to "4", "name1" to "name4"; nobody is connected and nobody has a phone registered.
class People : public ServerTest {
 protected:
  People() {
    server.host().settings.CheckIM1 = 0;
    for (const char* userId : {"1", "2", "3", "4"}) server.AddUser(userId);
  }

  /// Takes what has come so far, and empties the log.
  template <typename... Clients>
  void Settle(Clients&... clients) {
    (clients.Receive(), ...);
    server.Run("delete from ServerLog");
  }

  /// What the next flush brings.
  std::string AfterTick(TestClient& client) {
    server.Tick();
    return client.Receive();
  }

  void RegisterPhone(const std::string& userId) {
    server.Run("update Users_ID set Registration_Id='phone' where UserID='" + userId + "'");
  }

  Lines Log() { return server.Rows("select * from ServerLog"); }
  const Lines& Pushes() { return server.host().PushQueue.lines(); }
  std::string Counter(const std::string& column) {
    return server.Value("select " + column + " from UpDateForm where id=1");
  }

  /// True when the command ran without a skipped statement.
  bool RunsWhole(TestClient& client, const std::string& record) {
    const uint64_t before = SkippedStatements();
    client.Send(record);
    return SkippedStatements() == before;
  }
};

}  // namespace vnq
