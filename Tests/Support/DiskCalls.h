#pragma once

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// How the C library promises that a function throws nothing; a definition has to repeat it.
#ifndef __THROW
#define __THROW
#endif

namespace tollbrook::test {

/// The calls that replace a file and make that durable, as this program makes them: noted in their order, and
/// failing when a test wants it. This header defines the C library's functions anew, so it belongs into one
/// source of a program.
struct DiskCalls {
  std::vector<std::string> made;
  int fsyncError = 0;    ///< what fsync fails with; 0 lets it through, as with all of these
  int fsyncsToPass = 0;  ///< that many calls of fsync still succeed
  int renameError = 0;
  int ftruncateError = 0;
  int flockError = 0;
  int copyError = 0;                     ///< of copying ranges
  std::function<void()> beforeForcing;   ///< called once, before fsync
  std::function<void()> beforeRenaming;  ///< called once
  std::function<void()> beforeLocking;   ///< called once
};
inline DiskCalls calls;

template <typename Function>
Function original(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

inline int fail(int error) {
  errno = error;
  return -1;
}

inline void callOnce(std::function<void()>& function) {
  if (const auto happens = std::exchange(function, nullptr)) happens();
}

inline std::string nameOf(const char* path) { return std::filesystem::path(path).filename(); }

}  // namespace tollbrook::test

extern "C" int fsync(int descriptor) {
  using namespace tollbrook::test;
  struct stat status {};
  fstat(descriptor, &status);
  calls.made.push_back(S_ISDIR(status.st_mode) ? "force folder" : "force file");
  callOnce(calls.beforeForcing);
  if (calls.fsyncError != 0 && calls.fsyncsToPass-- <= 0) return fail(calls.fsyncError);
  return original<int (*)(int)>("fsync")(descriptor);
}

extern "C" int rename(const char* from, const char* to) __THROW {
  using namespace tollbrook::test;
  calls.made.push_back("rename " + nameOf(from) + " to " + nameOf(to));
  callOnce(calls.beforeRenaming);
  if (calls.renameError != 0) return fail(calls.renameError);
  return original<int (*)(const char*, const char*)>("rename")(from, to);
}

extern "C" int unlink(const char* path) __THROW {
  using namespace tollbrook::test;
  calls.made.push_back("remove " + nameOf(path));
  return original<int (*)(const char*)>("unlink")(path);
}

extern "C" int flock(int descriptor, int operation) __THROW {
  using namespace tollbrook::test;
  callOnce(calls.beforeLocking);
  if (calls.flockError != 0) return fail(calls.flockError);
  return original<int (*)(int, int)>("flock")(descriptor, operation);
}

extern "C" int ftruncate(int descriptor, off_t size) __THROW {
  using namespace tollbrook::test;
  calls.made.emplace_back("cut");
  if (calls.ftruncateError != 0) return fail(calls.ftruncateError);
  return original<int (*)(int, off_t)>("ftruncate")(descriptor, size);
}

extern "C" ssize_t copy_file_range(int in, off64_t* inOffset, int out, off64_t* outOffset, std::size_t length,
                                   unsigned flags) {
  using namespace tollbrook::test;
  using Function = ssize_t (*)(int, off64_t*, int, off64_t*, std::size_t, unsigned);
  if (calls.copyError != 0) return fail(calls.copyError);
  return original<Function>("copy_file_range")(in, inOffset, out, outOffset, length, flags);
}
