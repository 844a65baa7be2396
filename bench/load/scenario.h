// A kind of load, and the run that drives it.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "bench/load/load_options.h"
#include "bench/load/run_result.h"
#include "bench/load/session.h"
#include "host/settings/ansi_code_page.h"

namespace vnq::bench {

/// What a scenario works with; outlives it.
struct LoadContext {
  const LoadOptions& options;
  Poller& poller;
  const AnsiText& ansi;
  std::vector<in_addr> servers;
  const TlsClient* tls;  ///< for clients of the main port; null: in clear

  /// A port of one of the servers, counted over and over.
  LoadTarget Target(uint16_t port, size_t server = 0) const;
};

inline constexpr uint16_t kMainPort = 6004;
inline constexpr uint16_t kVisitorPort = 6001;

/// A run calls SetUp, then twice (for the warm-up and for the measured time) BeginPhase, Turn until
/// the time is over and, without new operations, until Settled.
class Scenario {
 public:
  virtual ~Scenario() = default;

  virtual std::string_view unit() const = 0;

  /// Connects everything. False, with the reason in `error`, when it did not work.
  virtual bool SetUp(std::string& error) = 0;

  /// measured: the operations of this phase count.
  virtual void BeginPhase(int64_t nowNs, bool measured) = 0;

  /// Does what is due. mayStart: new operations may begin.
  virtual void Turn(int64_t nowNs, bool mayStart) = 0;

  /// How long the run may wait for events before the next Turn.
  virtual int64_t WaitNs(int64_t) const { return 20'000'000; }

  /// Nothing is on its way.
  virtual bool Settled() const = 0;

  virtual uint64_t Operations() const = 0;  ///< completed in this phase
  virtual size_t Connections() const = 0;
  virtual uint64_t InFlight() const = 0;

  /// Adds latencies, checks, counts and settings.
  virtual void Report(RunResult& result) const = 0;
};

std::unique_ptr<Scenario> MakePeerScenario(LoadContext& context);
std::unique_ptr<Scenario> MakeGroupScenario(LoadContext& context);
std::unique_ptr<Scenario> MakeNoticeScenario(LoadContext& context);
std::unique_ptr<Scenario> MakeLoginScenario(LoadContext& context);
std::unique_ptr<Scenario> MakeBroadcastScenario(LoadContext& context);
std::unique_ptr<Scenario> MakeIdleScenario(LoadContext& context);
std::unique_ptr<Scenario> MakeVisitorScenario(LoadContext& context);

using ScenarioMaker = std::unique_ptr<Scenario> (*)(LoadContext& context);

/// Runs a scenario and prints what it found. Returns the exit code: 0, or 1 when a check failed or
/// the run could not be made.
int RunScenario(std::string_view name, ScenarioMaker make, const LoadOptions& options);

}  // namespace vnq::bench
