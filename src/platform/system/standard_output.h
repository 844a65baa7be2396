// Whether a program's results have left it.
#pragma once

namespace vnq {

/// Writes out what standard output still holds. The exit code of a program that was to end with
/// `exitCode`: that, or 1 where it was 0 and something of the output is lost, which is said on
/// standard error.
int FinishOutput(const char* program, int exitCode);

}  // namespace vnq
