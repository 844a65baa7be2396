// Runs a fuzz target without libFuzzer: every file of its corpus, then a bounded number of inputs
// mutated from it. The same seed gives the same inputs, so a failure in the test run comes back.
//
//   <target> [--runs N] [--seed N] [CORPUS_FOLDER_OR_FILE...]
//
// When the target aborts, the number of the input and the input itself, in hexadecimal, go to
// standard error.
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr size_t kLongestInput = 4096;

std::string current;
uint64_t inputNumber = 0;

struct Options {
  uint64_t runs = 10000;
  uint64_t seed = 1;
  std::vector<std::string> corpus;
};

// Writes without the heap: the process is about to end.
void ReportInput(int signalNumber) {
  static const char digits[] = "0123456789abcdef";
  static char line[2 * kLongestInput + 64];
  int length =
      std::snprintf(line, 64, "\ninput %llu: ", static_cast<unsigned long long>(inputNumber));
  for (const char character : std::string_view(current).substr(0, kLongestInput)) {
    const auto byte = static_cast<unsigned char>(character);
    line[length++] = digits[byte >> 4];
    line[length++] = digits[byte & 15];
  }
  line[length++] = '\n';
  [[maybe_unused]] const auto written = write(STDERR_FILENO, line, static_cast<size_t>(length));
  std::signal(signalNumber, SIG_DFL);
  std::raise(signalNumber);
}

void TryInput(std::string input) {
  current = std::move(input);
  ++inputNumber;
  // A copy of exactly its size, so that a read past its end is seen.
  const std::vector<uint8_t> bytes(current.begin(), current.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> ReadCorpus(const std::vector<std::string>& places) {
  std::vector<std::filesystem::path> files;
  for (const auto& place : places) {
    std::error_code error;
    if (std::filesystem::is_directory(place, error)) {
      for (const auto& entry : std::filesystem::directory_iterator(place, error)) {
        files.push_back(entry.path());
      }
    } else if (std::filesystem::exists(place, error)) {
      files.emplace_back(place);
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> inputs;
  for (const auto& file : files) inputs.push_back(ReadFile(file));
  return inputs;
}

class Mutator {
 public:
  Mutator(uint64_t seed, std::vector<std::string> corpus)
      : random_(seed), corpus_(std::move(corpus)) {
    corpus_.emplace_back();
  }

  std::string Next() {
    std::string input = corpus_[Below(corpus_.size())];
    for (size_t steps = 1 + Below(8); steps > 0; --steps) Change(input);
    if (input.size() > kLongestInput) input.resize(kLongestInput);
    return input;
  }

 private:
  size_t Below(size_t bound) { return static_cast<size_t>(random_() % bound); }

  // Bytes that mean something in the protocols come up more often than the others.
  char AnyByte() {
    static constexpr std::string_view kTelling = "|#.+=:-,'\"\\%<>{}[]m0123456789\r\n";
    if (Below(2) == 0) return kTelling[Below(kTelling.size())];
    return static_cast<char>(Below(256));
  }

  void Change(std::string& input) {
    const size_t at = Below(input.size() + 1);
    switch (Below(6)) {
      case 0:
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(at), AnyByte());
        break;
      case 1:
        input.erase(at, 1 + Below(8));
        break;
      case 2:
        input.resize(at);
        break;
      case 3:
        input.insert(at, input.substr(Below(input.size() + 1), Below(64)));
        break;
      case 4:
        input.insert(at, corpus_[Below(corpus_.size())]);
        break;
      default:
        if (at < input.size()) input[at] = AnyByte();
    }
  }

  std::mt19937_64 random_;
  std::vector<std::string> corpus_;
};

bool ReadNumber(std::string_view text, uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool ReadOptions(int count, char** arguments, Options& options) {
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--runs" || argument == "--seed") {
      uint64_t& number = argument == "--runs" ? options.runs : options.seed;
      if (++i == count || !ReadNumber(arguments[i], number)) return false;
    } else if (argument.starts_with("-")) {
      return false;
    } else {
      options.corpus.emplace_back(argument);
    }
  }
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (!ReadOptions(count, arguments, options)) {
    std::fprintf(stderr, "usage: %s [--runs N] [--seed N] [CORPUS...]\n", arguments[0]);
    return 2;
  }
  std::signal(SIGABRT, ReportInput);

  const std::vector<std::string> corpus = ReadCorpus(options.corpus);
  for (const auto& input : corpus) TryInput(input);
  Mutator mutator(options.seed, corpus);
  for (uint64_t run = 0; run < options.runs; ++run) TryInput(mutator.Next());

  std::printf("%llu inputs, %zu of them from the corpus\n",
              static_cast<unsigned long long>(inputNumber), corpus.size());
  return 0;
}
