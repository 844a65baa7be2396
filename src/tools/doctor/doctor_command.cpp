#include "tools/doctor/doctor_command.h"

#include <spdlog/spdlog.h>

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "tools/doctor/doctor.h"

namespace vnq {

namespace {

std::string Counted(int number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

void Examine(const DoctorOptions& options, Findings& findings) {
  const auto folder = ExamineFolder(options.appPath, options.localeName, findings);
  if (folder == nullptr) return;
  ExamineSettings(*folder, findings);
  ExamineTexts(*folder, findings);
  ExamineVersionFile(*folder, findings);
  if (const auto database = ExamineDatabase(*folder, findings)) {
    if (ExamineSchema(*database, *folder, findings)) {
      ExamineTextsInDatabase(*database, *folder, findings);
      ExamineRows(*database, *folder, findings);
    }
  }
  ExaminePorts(*folder, findings);
}

}  // namespace

int RunDoctor(const DoctorOptions& options, std::ostream& out) {
  Findings findings(out);
  Examine(options, findings);
  out << Counted(findings.errors(), "error") << ", " << Counted(findings.warnings(), "warning")
      << "\n";
  return findings.errors() == 0 ? 0 : 1;
}

void AddDoctorCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<DoctorOptions>();
  CLI::App* command =
      app.add_subcommand("doctor", "Check settings, texts, database and ports, and say what to do");
  command->add_option("--app-path", options->appPath, "The program's folder")->required();
  // The findings tell what the log would.
  command->preparse_callback([](size_t) { spdlog::set_level(spdlog::level::off); });
  command->callback([options, &exitCode] {
    options->localeName = SystemLocaleName();
    exitCode = RunDoctor(*options, std::cout);
  });
}

}  // namespace vnq
