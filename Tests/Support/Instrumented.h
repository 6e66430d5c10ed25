#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TOLLBROOK_INSTRUMENTED true
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TOLLBROOK_INSTRUMENTED true
#endif
#ifndef TOLLBROOK_INSTRUMENTED
#define TOLLBROOK_INSTRUMENTED false
#endif

namespace tollbrook::test {

/// Whether a sanitizer watches memory: it takes memory itself, and every access takes several times as long.
inline constexpr bool isInstrumented = TOLLBROOK_INSTRUMENTED;

}  // namespace tollbrook::test
