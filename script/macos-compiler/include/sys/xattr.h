#pragma once

#include <sys/cdefs.h>
#include <sys/types.h>

// The calls on extended attributes that the engine makes, as getxattr(2), listxattr(2) and setxattr(2) of
// macOS document them: the cross-compiler's headers lack this one.

__BEGIN_DECLS
ssize_t fgetxattr(int fd, const char* name, void* value, size_t size, u_int32_t position, int options);
int fsetxattr(int fd, const char* name, const void* value, size_t size, u_int32_t position, int options);
ssize_t flistxattr(int fd, char* namebuf, size_t size, int options);
int fremovexattr(int fd, const char* name, int options);
__END_DECLS
