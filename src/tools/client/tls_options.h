// How a client on the command line asks for TLS.
#pragma once

#include <CLI/CLI.hpp>

#include "platform/net/tls.h"

namespace vnq {

struct TlsOptions {
  bool use = false;
  TlsTrust trust;
};

/// --tls, --tls-ca FILE, --tls-insecure; each of the last two needs the first.
void AddTlsOptions(CLI::App& command, TlsOptions& options);

}  // namespace vnq
