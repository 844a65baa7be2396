// A certificate of a test's own, made by the openssl command.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace vnq {

struct Certificate {
  std::string file, keyFile;
};

/// A self-signed one in a folder, for a name and an address. days: that it holds from now on.
inline Certificate MakeCertificate(const std::string& folder, const std::string& address,
                                   const std::string& stem = "server", int days = 2) {
  Certificate made{folder + "/" + stem + ".pem", folder + "/" + stem + ".key"};
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days " +
      std::to_string(days) + " -subj /CN=" + stem +
      " -addext subjectAltName=DNS:im.example,IP:" + address + " -out " + made.file + " -keyout " +
      made.keyFile + " 2>/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return made;
}

}  // namespace vnq
