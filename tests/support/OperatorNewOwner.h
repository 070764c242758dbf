// Whether a test program may replace the global operator new and delete: ThreadSanitizer's
// runtime defines them itself (statically), so under it ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW is set
// and tests that count or refuse allocations through their own operator new skip that part.
#ifndef ZO_KEL_TESTS_OPERATORNEWOWNER_H
#define ZO_KEL_TESTS_OPERATORNEWOWNER_H

#if defined(__SANITIZE_THREAD__)
#define ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW 1
#endif
#endif

#endif  // ZO_KEL_TESTS_OPERATORNEWOWNER_H
