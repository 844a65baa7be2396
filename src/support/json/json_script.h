// A small command language written in JSON.
//
// A script is a JSON text (json.h); evaluating it gives a text. Values are evaluated by their kind:
//
//   text, number   itself
//   boolean        "true" or "false"
//   null           "null"
//   empty          the empty text
//   collection     its elements, one behind the other
//   dictionary     commands: each key in order is the name of one, its value holds the arguments
//
// Names of commands are compared without regard to letter case. What each one does and outputs:
//
//   alert   shows a box with message and title; no output
//   input   asks with prompt, title and default; what was entered
//   switch  the return of the first of its items that has the same case, else its default
//   set     stores value as the variable name; no output
//   get     the variable name, else its default
//   if      compares value1 with value2 by type (eq, gt, lt, gte, lte); its true or its false
//   return  the value
//   other   a placeholder for a later stage, <%NAME(a,b)%>, of the values of its parameters
//
// Arguments are evaluated as values are, so commands may stand in them. The name of a variable, the
// type of a comparison and the case of an item are taken as they are written. A missing argument is
// the empty text. docs/json_script.md shows each command at work.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/json/json_script_dialogs.h"
#include "support/json/json_value.h"

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
