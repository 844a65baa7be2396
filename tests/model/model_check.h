// The server and its model side by side on one sequence of deeds.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/harness/test_server.h"
#include "tests/model/command_sequence.h"
#include "tests/model/naive_server.h"

namespace vnq::model {

class ModelCheck {
 public:
  explicit ModelCheck(uint64_t seed);

  /// Goes through so many deeds. The first difference as a text that names the seed, the deeds and
  /// what differs; empty: there was none.
  std::string Run(int deeds);

 private:
  struct Peer {
    int number;  // the model's
    TestClient client;
  };

  static TestServerOptions Options();
  void ReadTables();
  void Do(const Deed& deed);
  void Send(const std::vector<Read>& reads);
  void Seconds(int count);

  void CompareClients();
  void CompareOpen();
  void CompareSlots();
  void CompareTables();
  void CompareCounts();
  std::string Decoded(const std::string& wire) const;
  void Expect(const std::string& what, const std::string& real, const std::string& model);

  uint64_t seed_;
  CommandSequence sequence_;
  TestServer server_;
  NaiveServer model_;
  std::vector<std::unique_ptr<Peer>> peers_;
  std::map<std::string, std::string> counts_;  // rows of the tables that no modelled command writes
  std::vector<std::string> done_;
  std::string difference_;
};

}  // namespace vnq::model
