#include "tools/client/tls_options.h"

namespace vnq {

void AddTlsOptions(CLI::App& command, TlsOptions& options) {
  CLI::Option* const tls = command.add_flag(
      "--tls", options.use, "Speak TLS, to a listener of the server that does; see --port");
  command
      .add_option("--tls-ca", options.trust.caFile,
                  "PEM file of those who may vouch for the server; without it the system's")
      ->needs(tls);
  command
      .add_flag("--tls-insecure", options.trust.insecure,
                "Believe any certificate: whoever stands between may read along")
      ->needs(tls);
}

}  // namespace vnq
