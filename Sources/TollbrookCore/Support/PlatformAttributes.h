#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "TollbrookCore/Support/Platform.h"

/// What reading and setting the attributes of an open file needs from each system; Platform.cpp puts it
/// together. Results are those of the system's calls: negative and errno when they fail.
namespace tollbrook::Platform::Native {

/// The names of all extended attributes, each followed by a NUL.
ssize_t listNames(int descriptor, char* names, std::size_t size);
ssize_t getValue(int descriptor, const char* name, char* value, std::size_t size);
int setValue(int descriptor, const char* name, const std::string& value);
int removeValue(int descriptor, const char* name);

/// Whether a new file has extended attributes that the one it replaces had not because it inherited them.
/// (What else macOS adds it does not let a program remove.)
extern const bool inheritsExtended;

/// Reads what only this system has.
void readOwn(int descriptor, const struct stat& status, FileAttributes& attributes);
/// Sets the differences in that, each result told to `attempt`. The owner and the mode are set already.
void applyOwn(int descriptor, const FileAttributes& current, const FileAttributes& wanted,
              const std::function<void(int)>& attempt);

}  // namespace tollbrook::Platform::Native
