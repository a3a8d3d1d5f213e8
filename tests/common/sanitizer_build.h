// Which sanitizer a test executable was built with, for the few tests whose limits depend on it
// (ThreadSanitizer, for one, enlarges thread stacks and slows every thread down).
#ifndef ZARVO_TESTS_COMMON_SANITIZER_BUILD_H
#define ZARVO_TESTS_COMMON_SANITIZER_BUILD_H

namespace zarvo_tests {

#if defined(__SANITIZE_THREAD__)
constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif
#else
constexpr bool kThreadSanitizer = false;
#endif

}  // namespace zarvo_tests

#endif  // ZARVO_TESTS_COMMON_SANITIZER_BUILD_H
