#include "bench/suites/bench_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "tools/folder/init_command.h"

namespace vnq::bench {
namespace {

constexpr int kCodePage = 936, kEnglish = 1033;
constexpr uint16_t kMainPort = 6004;

[[noreturn]] void Give(const std::string& why) {
  fmt::print(stderr, "vnq_bench_suites: {}\n", why);
  std::exit(1);
}

std::string OwnAddress() {
  static unsigned count = 0;
  const unsigned number = static_cast<unsigned>(getpid()) * 16u + count++ % 16u;
  return fmt::format("127.{}.{}.{}", 211 + number / (254 * 254) % 40, 1 + number / 254 % 254,
                     1 + number % 254);
}

}  // namespace

const std::string kAsciiText = "Could you send me the figures of last week before lunch? Thanks";
const std::string kChineseText =
    "请在午饭前把上周的数据发给我好吗谢谢今天下午三点在二楼会议室开会大家都要来不要迟到"
    "有问题请找我或者打电话给我";

BenchServer::BenchServer(int users) : address_(OwnAddress()) {
  spdlog::set_level(spdlog::level::off);
  MakeFolder();
  loop_ = std::make_unique<EventLoop>(clock_);
  PlatformSettings platform;
  platform.languageId = kEnglish;
  platform.codePage = kCodePage;
  platform.bindAddress = address_;
  form_ = std::make_unique<IndexForm>(
      *loop_, clock_, commands_, ReadProgramFolder(folder_, platform, CodePage::Open(kCodePage)));
  AddUsers(users);
  form_->Load();
}

BenchServer::~BenchServer() {
  for (const int descriptor : clients_) close(descriptor);
  for (const int descriptor : sharedPair_) close(descriptor);
  loop_->UnwindHandlers();
  form_.reset();
  loop_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void BenchServer::MakeFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "vnq_suites_XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) Give("no temporary folder");
  folder_ = name;
  std::ostringstream said;
  InitOptions options;
  options.appPath = folder_;
  options.localeName = "en_US.UTF-8";
  if (RunInit(options, said, said) != 0) Give(said.str());
}

void BenchServer::AddUsers(int users) {
  Run("begin");
  for (int i = 1; i <= users; ++i) {
    Run(
        fmt::format("insert into Users_ID(UserID,UserName,UserPaws,FcName,UserState,IsVerify)"
                    " values('{0}','name{0}','pw','Name {0}',1,0)",
                    i));
  }
  Run("commit");
}

void BenchServer::Run(const std::string& statement) {
  SqlDriver& driver = host().database.driver();
  if (!driver.Execute(statement, {})) Give(driver.LastError());
}

void BenchServer::AddSilentSlots(int count) {
  sharedPair_.resize(2);
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sharedPair_.data()) != 0) {
    Give("no socket");
  }
  for (int i = 1; i <= count; ++i) {
    const int descriptor = fcntl(sharedPair_[0], F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) Give("too few descriptors; raise the limit with ulimit -n");
    const SlotIndex slot = host().SckServer.Accept(AcceptedSocket(descriptor, "127.0.0.1"));
    host().SckServer.SetTag(slot, std::to_string(i));
  }
}

void BenchServer::Connect(int count) {
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(kMainPort);
  inet_pton(AF_INET, address_.c_str(), &server.sin_addr);
  for (int i = 0; i < count; ++i) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(client, reinterpret_cast<sockaddr*>(&server), sizeof server) != 0) {
      Give("cannot connect to " + address_);
    }
    fcntl(client, F_SETFL, O_NONBLOCK);
    clients_.push_back(client);
    const SlotIndex before = host().SckServer.Highest();
    const auto isThere = [&] {
      const SlotIndex highest = host().SckServer.Highest();
      return host().SckServer.IsConnected(highest) && (highest > before || clients_.size() == 1);
    };
    while (!isThere()) loop_->Turn(1);
    host().SckServer.SetTag(host().SckServer.Highest(), std::to_string(clients_.size()));
  }
}

void BenchServer::Drain() {
  char buffer[65536];
  for (const int client : clients_) {
    while (recv(client, buffer, sizeof buffer, 0) > 0) {
    }
  }
}

void BenchServer::InHandler(const std::function<void()>& work) {
  bool done = false;
  loop_->StartHandler([&] {
    work();
    done = true;
  });
  while (!done) loop_->Turn(0);
}

void BenchServer::ClearReplies() {
  const int highest = host().SckServer.Highest();
  for (int i = 1; i <= highest; ++i) host().ReplyBuffer[static_cast<SlotIndex>(i)].clear();
}

}  // namespace vnq::bench
