// Section [nodes] of platform.ini: this server is one of several on one database.
#pragma once

#include <string>
#include <vector>

namespace vnq {

class IniValues;

struct NodeSettings {
  std::vector<std::string> bus;  ///< URLs of NATS servers, any that answers; empty: a server alone
  std::string name;              ///< of this node; no two have the same
  std::string cluster = "vnq";   ///< what nodes of one database have in common
  std::string user, password;    ///< for the bus; empty: as the URL says
  std::string caFile;            ///< what the bus's certificate is checked by; empty: the system's

  bool AreGiven() const { return !bus.empty(); }
};

/// Reads the section; the values have to make sense together.
void ReadNodes(IniValues& values, NodeSettings& nodes);

}  // namespace vnq
