#pragma once

/// SIGINT, SIGTERM and SIGHUP ask the work to stop after the file in flight; a second one ends the process at
/// once.
namespace tollbrook::cli::Signals {

/// Begins to listen. A SIGHUP that the starter of the process ignores (nohup) stays ignored. SIGPIPE and
/// SIGXFSZ are ignored from now on, so that a reader who went away and a limit on file sizes are ordinary
/// write errors.
void listen();

/// Whether a signal asked to stop.
bool stopRequested();

/// `status`, or the exit status of a run that was stopped by the signal that came.
int exitStatus(int status);

}  // namespace tollbrook::cli::Signals
