// The server process: arguments, the one instance, signals; everything else is IndexForm's.
#include <signal.h>
#include <spdlog/spdlog.h>
#include <string.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "host/settings/program_folder.h"
#include "platform/bus/nats_bus.h"
#include "platform/system/descriptor_limit.h"
#include "platform/system/instance.h"
#include "platform/system/memory.h"
#include "platform/system/process_log.h"
#include "platform/system/signals.h"
#include "platform/system/standard_output.h"
#include "server/index_form.h"
#include "server/status/operator_desk.h"
#include "server/status/status_text.h"

namespace {

constexpr int kExitNotServing = 1;
constexpr int kExitArguments = 2;
constexpr int64_t kMaxDrainMs = 2000;
constexpr int64_t kMaxPeerCloseMs = 200;

struct Arguments {
  std::string appPath;
  vnq::PlatformOverrides overrides;
  vnq::LogOptions log;
};

// The exit code when the process is to end here.
std::optional<int> ParseArguments(int argc, char** argv, Arguments& arguments) {
  CLI::App app{"VNQ Main Service: the main server of the messaging suite", "vnq_main_service"};
  app.set_version_flag("--version", "vnq_main_service " VNQ_VERSION);
  app.add_option("--app-path", arguments.appPath, "The program's folder: settings, texts, database")
      ->required();
  app.add_option("--bind", arguments.overrides.bindAddress, "IPv4 address of all listeners");
  app.add_option("--language-id", arguments.overrides.languageId,
                 "System language: 1028, 1033, 2052 or another LCID");
  app.add_option("--code-page", arguments.overrides.codePage, "Legacy code page, e.g. 936");
  app.add_option("--log-level", arguments.log.level, "debug, info, warning or error")
      ->capture_default_str();
  app.add_option("--log-format", arguments.log.format, "text, or json: an object a line")
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return vnq::FinishOutput("vnq_main_service", app.exit(success));
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "vnq_main_service: %s\nusage: %s", error.what(), app.help().c_str());
    return kExitArguments;
  }
  return std::nullopt;
}

int Fail(int code, const std::string& message) {
  std::fprintf(stderr, "vnq_main_service: %s\n", message.c_str());
  return code;
}

int RefuseSecondInstance(vnq::ProgramFolder& folder) {
  vnq::Texts texts(folder.strings, folder.appPath, folder.platform.languageId);
  std::fprintf(stderr, "VNQ_Main_Service.exe: %s\n", texts.ReadLang("im2").c_str());
  return kExitNotServing;
}

// What was sent last still leaves. Peers get a moment to close on their side, so that nothing of
// theirs meets a closed port; a peer that does not take its bytes is not waited for long.
void Drain(vnq::EventLoop& loop, const vnq::Clock& clock) {
  loop.Settle();
  const int64_t start = clock.MonotonicMs();
  auto waitsFor = [&](int connections, int64_t limitMs) {
    return connections > 0 && clock.MonotonicMs() - start < limitMs;
  };
  while (waitsFor(vnq::TcpConnection::Lingering(), kMaxPeerCloseMs) ||
         waitsFor(vnq::TcpConnection::LingeringUnsent(), kMaxDrainMs)) {
    loop.TurnWithoutHandlers(20);
  }
}

void UseAllDescriptors() {
  const vnq::DescriptorLimit limit = vnq::RaiseDescriptorLimit();
  if (limit.now > limit.before) {
    spdlog::info("descriptor limit raised from {} to {}", limit.before, limit.now);
  }
}

// Memory that a storm took goes back to the system, and what a shortage took is held again.
void KeepMemory(vnq::EventLoop& loop) {
  constexpr int64_t kMemoryIntervalMs = 20'000;
  vnq::HoldMemoryInReserve();
  loop.StartTimer(kMemoryIntervalMs, [] {
    vnq::GiveBackFreeMemory();
    vnq::HoldMemoryInReserve();
  });
}

// The first order to stop counts; the others find it on its way.
void StopServing(vnq::EventLoop& loop, vnq::IndexForm& form, bool& stopping) {
  if (std::exchange(stopping, true)) return;
  vnq::NotifyServiceManager("STOPPING=1");
  loop.StartHandler([&loop, &form] {
    form.Unload();
    loop.Stop();
  });
}

/// Tells the service manager, once a second, that the event thread runs, and now and then how it
/// fares.
class LifeSign {
 public:
  void Give(vnq::OperatorDesk& desk) {
    const bool isStatusDue = ++beats_ % kBeatsPerStatus == 0;
    if (!watched_ && !isStatusDue) return;
    std::string state = watched_ ? "WATCHDOG=1\n" : "";
    if (isStatusDue) state += "STATUS=" + vnq::StatusLine(desk.Status());
    vnq::NotifyServiceManager(state);
  }

 private:
  static constexpr int kBeatsPerStatus = 10;
  const bool watched_ = vnq::ServiceManagerWatches();
  int beats_ = 0;
};

void OnSignal(int number, vnq::EventLoop& loop, vnq::IndexForm& form, vnq::OperatorDesk* desk,
              bool& stopping) {
  if (number == SIGTERM || number == SIGINT) {
    StopServing(loop, form, stopping);
  } else if (number == SIGHUP) {
    form.ReadKeywordsAgain();
    form.ReadCertificatesAgain();
  } else if (number == SIGUSR1 && desk != nullptr) {
    desk->LogStatus();
  } else {
    spdlog::info("SIG{} has no meaning here", sigabbrev_np(number));
  }
}

// What the settings come to, for whoever reads the log of another machine.
void SaySummary(const vnq::ProgramFolder& folder) {
  const vnq::Settings& settings = folder.settings;
  spdlog::info(
      "vnq_main_service {} in {}: language {}, code page {}, database {}, push every {} s, "
      "retention of chats {}, files {}, notices {}",
      VNQ_VERSION, folder.appPath, folder.platform.languageId, folder.platform.codePage,
      vnq::EngineName(folder.engine), settings.pushIntervalMs / 1000, settings.deleteChats.options,
      settings.deleteOfflineFiles.options, settings.deleteNotices.options);
}

// Null where the server is alone.
std::unique_ptr<vnq::Bus> BusOf(vnq::EventLoop& loop, const vnq::NodeSettings& nodes) {
  return nodes.AreGiven() ? OpenNatsBus(loop, {nodes.bus, nodes.user, nodes.password, nodes.caFile,
                                               nodes.cluster, nodes.name})
                          : nullptr;
}

// Comes back only where there is nothing to serve.
int Serve(vnq::ProgramFolder folder) {
  SaySummary(folder);
  UseAllDescriptors();
  const std::string address = folder.platform.bindAddress,
                    socketPath = vnq::InstanceSocketPath(folder.appPath);
  vnq::SystemClock clock;
  vnq::EventLoop loop(clock);
  KeepMemory(loop);
  vnq::ShellCommandRunner commands(loop);
  auto bus = BusOf(loop, folder.platform.nodes);
  vnq::IndexForm form(loop, clock, commands, std::move(folder), std::move(bus));
  std::optional<vnq::OperatorDesk> desk;
  bool stopping = false;
  vnq::ProcessSignals signals(
      loop, [&](int number) { OnSignal(number, loop, form, desk ? &*desk : nullptr, stopping); });
  if (!form.Load()) {
    spdlog::error("no port could be bound on {}; nothing is served", address);
    return kExitNotServing;
  }
  LifeSign lifeSign;
  desk.emplace(loop, form, [&] { lifeSign.Give(*desk); });
  desk->Open(socketPath);
  const std::string readiness = form.Readiness();
  spdlog::info("ready on {}: {}", address, readiness);
  vnq::NotifyServiceManager("READY=1\nSTATUS=" + readiness);
  loop.Run();
  Drain(loop, clock);
  desk.reset();
  form.host().database.Close();
  spdlog::info("stopped");
  spdlog::shutdown();
  _exit(0);  // handlers that still wait in a yield are not unwound
}

}  // namespace

int main(int argc, char** argv) {
  vnq::ProcessSignals::Hold();
  Arguments arguments;
  if (const auto code = ParseArguments(argc, argv, arguments)) return *code;
  std::string error;
  if (!vnq::SetUpLog(arguments.log, error)) return Fail(kExitArguments, error);
  auto folder = vnq::OpenProgramFolder(arguments.appPath, arguments.overrides,
                                       vnq::SystemLocaleName(), error);
  if (!folder) return Fail(kExitArguments, error);
  if (error = vnq::NodesFault(*folder); !error.empty()) return Fail(kExitArguments, error);
  vnq::InstanceLock lock;
  switch (lock.Acquire(folder->LockPath(), error)) {
    case vnq::InstanceLock::Result::kHeld:
      break;
    case vnq::InstanceLock::Result::kOtherInstance:
      return RefuseSecondInstance(*folder);
    case vnq::InstanceLock::Result::kError:
      return Fail(kExitNotServing, error);
  }
  return Serve(std::move(*folder));
}
