#include "platform/bus/nats_bus.h"
#include "tools/doctor/doctor.h"

namespace vnq {

void ExamineNodes(const ProgramFolder& folder, Findings& findings) {
  const NodeSettings& nodes = folder.platform.nodes;
  if (!nodes.AreGiven()) return;
  const std::string unserved = NodesFault(folder);
  if (!unserved.empty()) findings.Error(unserved);
  std::string version;
  const std::string fault = NatsFault(
      {nodes.bus, nodes.user, nodes.password, nodes.caFile, nodes.cluster, nodes.name}, version);
  const std::string bus = KeyAt(PlatformIniPath(folder.appPath), "nodes", "bus", nodes.bus.front());
  if (!fault.empty()) {
    findings.Error(bus + ": no bus: " + fault + "; the server would go on alone");
  } else {
    findings.Ok("nodes: node " + nodes.name + " of cluster " + nodes.cluster +
                ", the bus answers (library " + version + ")");
  }
}

}  // namespace vnq
