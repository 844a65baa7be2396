#include "tools/client/password.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace vnq {
namespace {

void Write(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written <= 0 && errno != EINTR) return;
    if (written > 0) text.remove_prefix(static_cast<size_t>(written));
  }
}

// A line without its end; false at the end of input or when interrupted.
bool ReadLine(int fd, std::string& line) {
  for (char c = 0;;) {
    if (read(fd, &c, 1) != 1) return false;
    if (c == '\n' || c == '\r') return true;
    line += c;
  }
}

bool AskWithoutEcho(int terminal, std::string& password) {
  termios before{};
  if (tcgetattr(terminal, &before) != 0) return false;
  termios quiet = before;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(terminal, TCSAFLUSH, &quiet);
  Write(terminal, "Password: ");
  const bool answered = ReadLine(terminal, password);
  tcsetattr(terminal, TCSAFLUSH, &before);
  Write(terminal, "\n");
  return answered;
}

bool ReadPasswordFile(const std::string& file, std::string& password, std::string& error) {
  std::ifstream in(file, std::ios::binary);
  if (!in || in.peek() == std::ifstream::traits_type::eof()) {
    error = "cannot read a password from " + file;
    return false;
  }
  std::getline(in, password);
  if (!password.empty() && password.back() == '\r') password.pop_back();
  return true;
}

}  // namespace

bool ReadPassword(const std::string& file, std::string& password, std::string& error) {
  password.clear();
  if (!file.empty()) return ReadPasswordFile(file, password, error);
  if (const char* value = std::getenv("VNQ_PASSWORD")) {
    password = value;
    return true;
  }
  const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
  const bool answered = terminal >= 0 && AskWithoutEcho(terminal, password);
  if (terminal >= 0) close(terminal);
  if (!answered) error = "no password: use --password-file or VNQ_PASSWORD";
  return answered;
}

}  // namespace vnq
