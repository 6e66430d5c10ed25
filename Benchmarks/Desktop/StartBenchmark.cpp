#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

// From the start of a process to its first painted window and its end, on a display. Tollbrook's window
// should take at most three times as long as one with nothing in it.

extern char** environ;

namespace {

void start(benchmark::State& state, const char* program) {
  for ([[maybe_unused]] const auto& _ : state) {
    pid_t process = 0;
    int status = 0;
    char* arguments[] = {const_cast<char*>(program), nullptr};
    if (posix_spawn(&process, program, nullptr, nullptr, arguments, environ) != 0 ||
        waitpid(process, &status, 0) != process || status != 0) {
      state.SkipWithError("the program did not end well");
    }
  }
}

void bareWindow(benchmark::State& state) { start(state, BARE_WINDOW); }
void tollbrookWindow(benchmark::State& state) { start(state, TOLLBROOK_WINDOW); }

BENCHMARK(bareWindow)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);
BENCHMARK(tollbrookWindow)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

}  // namespace
