#pragma once

namespace tollbrook::cli {

/// The whole program: reads the command line, runs the command, returns the exit status.
int runProgram(int argumentCount, char** arguments);

}  // namespace tollbrook::cli
