#include "tools/doctor/doctor_command.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <utility>

#include <CLI/CLI.hpp>

#include "platform/system/file_access.h"
#include "tools/doctor/doctor.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"

namespace vnq {

namespace {

std::string Counted(int number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

void ExamineContents(Database& database, const ProgramFolder& folder, const RunningServer& server,
                     Findings& findings) {
  const bool isWhole = ExamineSchema(database, folder, findings);
  if (isWhole) ExamineTextsInDatabase(database, folder, findings);
  if (isWhole) ExamineRows(database, folder, findings);
  ExaminePresence(database, folder, server, findings);
  ExamineDescriptors(database, server.process, findings);
}

void Examine(const DoctorOptions& options, Findings& findings) {
  auto folder = ExamineFolder(options.appPath, options.localeName, findings);
  if (!folder) return;
  const RunningServer server = LookForServer(*folder, findings);
  ExamineSettings(*folder, findings);
  ExamineKeys(*folder, findings);
  ExamineFiles(*folder, options.leastFreeMb, findings);
  ExamineListeners(*folder, findings);
  ExamineTexts(*folder, findings);
  ExamineVersionFile(*folder, findings);
  const CheckProgress progress{options.progress, options.largeFileMb};
  // Without the settings nobody knows which database is meant.
  const bool isNamed = ReadFault(folder->ini).empty();
  if (const auto database = isNamed ? ExamineDatabase(*folder, progress, findings) : nullptr) {
    ExamineContents(*database, *folder, server, findings);
  }
  ExamineNodes(*folder, findings);
  ExaminePorts(*folder, server, findings);
}

}  // namespace

void Findings::Line(std::string_view kind, std::string_view what) {
  if (json_) {
    out_ << (std::exchange(hasLines_, true) ? ",\n" : "\n") << "{\"kind\":" << JsonString(kind)
         << ",\"finding\":" << JsonString(what) << "}";
  } else {
    out_ << kind << ": " << what << "\n";
  }
  out_.flush();  // a check behind it may take its time
}

void Findings::Conclude() {
  if (json_) {
    out_ << "\n]\n";
  } else {
    out_ << Counted(errors_, "error") << ", " << Counted(warnings_, "warning") << "\n";
  }
}

int RunDoctor(const DoctorOptions& options, std::ostream& out) {
  Findings findings(out, options.json);
  Examine(options, findings);
  findings.Conclude();
  return findings.errors() == 0 ? 0 : 1;
}

void AddDoctorCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<DoctorOptions>();
  CLI::App* command =
      app.add_subcommand("doctor", "Check settings, texts, database and ports, and say what to do");
  AddAppPath(*command, options->appPath)->required();
  command->add_flag("--json", options->json, "As a JSON array, an object a finding");
  command
      ->add_option("--free-mb", options->leastFreeMb,
                   "Megabytes that must be free beside the folder")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command->callback([options, &exitCode] {
    options->localeName = SystemLocaleName();
    if (isatty(STDERR_FILENO) == 1) options->progress = &std::cerr;
    exitCode = RunDoctor(*options, std::cout);
  });
}

}  // namespace vnq
