// A small command language written in JSON.
//
// A script is a JSON text (json.h); evaluating it gives a text. Values are evaluated by their kind:
//
//   text, number         itself          null   "null"          boolean   "true" or "false"
//   empty                ""              collection   its elements, one behind the other
//   dictionary           commands: each key in order is the name of one, its value holds the
//   arguments
//
// Names of commands are compared without regard to letter case:
//
//   alert   message, title                          shows a box                           no output
//   input   prompt, title, default                  asks                                  what was
//   entered switch  default, case, items [{case, return}]   the first item with the same case its
//   return, else default set     name, value                             stores a variable no
//   output get     name, default                           reads one its value, else default if
//   value1, value2, type, true, false       compares: eq, gt, lt, gte, lte        true or false
//   return  (the value)                                                                   the value
//   other   parameters                              for a later stage <%NAME(a,b)%>
//
// Arguments are evaluated as values are, so commands may stand in them, except for the names of
// variables, `type` and the `case` of an item, which are taken as they are written. A missing
// argument is the empty text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/json_script_dialogs.h"
#include "support/json_value.h"

namespace vnq {

class cStringBuilder;

class cJSONScript {
 public:
  /// `dialogs` must outlive the script. Without dialogs (a null pointer, a machine without a person
  /// in front of it) boxes are left out and every question is cancelled.
  explicit cJSONScript(ScriptDialogs* dialogs) : dialogs_(dialogs) {}

  /// Evaluates a script: the elements of a collection, or the values of a dictionary, one behind
  /// the other. Parser errors are shown as a warning with the title "Parser Error", and the result
  /// is the empty text.
  std::string Eval(std::string_view script);

  /// Evaluates one value. What is nested more than 40 levels deep gives the empty text, and
  /// evaluation of the levels around it goes on.
  std::string ExecCommand(const JsonValue& value);

  /// The variables, which stay from one call to the next.
  const JsonDictionary& Vars() const { return vars_; }

 private:
  std::string EvalTopLevel(const JsonValue& value);
  void ExecByKind(const JsonValue& value, cStringBuilder& output);
  std::string RunCommand(const JsonDictionary::Entry& command);

  std::string Alert(const JsonDictionary& args);
  std::string Input(const JsonDictionary& args);
  std::string Switch(const JsonDictionary& args);
  std::string Set(const JsonDictionary& args);
  std::string Get(const JsonDictionary& args);
  std::string If(const JsonDictionary& args);
  std::string Placeholder(std::string_view name, const JsonDictionary& parameters);

  std::string Evaluated(const JsonDictionary& args, std::string_view name);

  ScriptDialogs* dialogs_;
  JsonDictionary vars_;
  int32_t level_ = 0;
};

}  // namespace vnq
