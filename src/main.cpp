// The server process: arguments, the one instance, signals; everything else is IndexForm's.
#include <signal.h>
#include <spdlog/spdlog.h>
#include <string.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/database/schema_version.h"
#include "host/settings/program_folder.h"
#include "platform/bus/nats_bus.h"
#include "platform/system/descriptor_limit.h"
#include "platform/system/event_log.h"
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
  std::vector<std::string> traced;
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
  app.add_option("--log-level", arguments.overrides.logLevel,
                 "debug, info, warning or error; else what platform.ini says, else info");
  app.add_option("--log-format", arguments.overrides.logFormat,
                 "text, or json: an object a line; else what platform.ini says, else text");
  app.add_option("--trace", arguments.traced,
                 "UserID whose records go to the log, passwords masked; may be given several times")
      ->allow_extra_args(false);
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
    vnq::LogInfo("descriptors", "descriptor limit raised from {} to {}", limit.before, limit.now);
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

// What the file says of the log, and the command line does not. A file that cannot be used changes
// nothing.
void ReadLogSettingsAgain(const Arguments& arguments, const std::string& appPath,
                          vnq::OperatorDesk& desk) {
  std::string error;
  auto settings =
      vnq::ReadPlatformSettings(vnq::PlatformIniPath(appPath), vnq::SystemLocaleName(), error);
  if (!settings || !vnq::ApplyOverrides(arguments.overrides, *settings, error) ||
      !vnq::SetUpLog({settings->log.level, settings->log.format}, error)) {
    return vnq::LogWarning("reload_failed", "log settings not read again: {}", error);
  }
  desk.SetSlowMs(settings->log.slowMs);
  vnq::LogInfo("reload", "log settings read again: level {}, format {}, slow from {} ms on",
               settings->log.level, settings->log.format, settings->log.slowMs);
}

void OnSignal(int number, vnq::EventLoop& loop, vnq::IndexForm& form, vnq::OperatorDesk* desk,
              const Arguments& arguments, bool& stopping) {
  if (number == SIGTERM || number == SIGINT) {
    StopServing(loop, form, stopping);
  } else if (number == SIGHUP) {
    form.ReadKeywordsAgain();
    form.ReadCertificatesAgain();
    if (desk != nullptr) ReadLogSettingsAgain(arguments, form.host().AppPath, *desk);
  } else if (number == SIGUSR1 && desk != nullptr) {
    desk->LogStatus();
  } else {
    vnq::LogInfo("signal", "SIG{} has no meaning here", sigabbrev_np(number));
  }
}

// What the settings come to, for whoever reads the log of another machine.
void SaySummary(const vnq::ProgramFolder& folder) {
  const vnq::Settings& settings = folder.settings;
  vnq::LogInfo(
      "start",
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

// Tables that a newer version has made are left alone.
bool KnowsSchema(vnq::Host& host) {
  const std::string fault =
      vnq::NewerSchemaFault(host.database.driver(), vnq::EngineOf(host.settings, host.platform));
  host.database.EndTurn();
  if (!fault.empty()) vnq::LogError("schema_newer", "{}", fault);
  return fault.empty();
}

// Comes back only where there is nothing to serve.
int Serve(vnq::ProgramFolder folder, const Arguments& arguments) {
  SaySummary(folder);
  UseAllDescriptors();
  const std::string address = folder.platform.bindAddress,
                    socketPath = vnq::InstanceSocketPath(folder.appPath);
  vnq::SystemClock clock;
  vnq::EventLoop loop(clock);
  loop.SetGathering(folder.platform.gatherMs);
  KeepMemory(loop);
  vnq::ShellCommandRunner commands(loop);
  auto bus = BusOf(loop, folder.platform.nodes);
  vnq::IndexForm form(loop, clock, commands, std::move(folder), std::move(bus));
  std::optional<vnq::OperatorDesk> desk;
  bool stopping = false;
  vnq::ProcessSignals signals(loop, [&](int number) {
    OnSignal(number, loop, form, desk ? &*desk : nullptr, arguments, stopping);
  });
  if (!KnowsSchema(form.host())) return kExitNotServing;
  for (const std::string& user : arguments.traced) form.host().trace.Follow(user);
  if (!form.Load()) {
    vnq::LogError("no_port", "no port could be bound on {}; nothing is served", address);
    return kExitNotServing;
  }
  LifeSign lifeSign;
  desk.emplace(loop, form, [&] { lifeSign.Give(*desk); });
  desk->Open(socketPath);
  const std::string readiness = form.Readiness();
  vnq::LogInfo("ready", "ready on {}: {}", address, readiness);
  vnq::NotifyServiceManager("READY=1\nSTATUS=" + readiness);
  loop.Run();
  Drain(loop, clock);
  desk.reset();
  form.host().database.Close();
  vnq::LogInfo("stopped", "stopped");
  spdlog::shutdown();
  _exit(0);  // handlers that still wait in a yield are not unwound
}

}  // namespace

int main(int argc, char** argv) {
  vnq::ProcessSignals::Hold();
  Arguments arguments;
  if (const auto code = ParseArguments(argc, argv, arguments)) return *code;
  std::string error;
  const vnq::PlatformOverrides& asked = arguments.overrides;
  if (!vnq::SetUpLog({asked.logLevel.value_or("info"), asked.logFormat.value_or("text")}, error)) {
    return Fail(kExitArguments, error);
  }
  auto folder = vnq::OpenProgramFolder(arguments.appPath, arguments.overrides,
                                       vnq::SystemLocaleName(), error);
  if (!folder || !vnq::SetUpLog({folder->platform.log.level, folder->platform.log.format}, error)) {
    return Fail(kExitArguments, error);
  }
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
  return Serve(std::move(*folder), arguments);
}
