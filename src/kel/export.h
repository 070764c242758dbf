// Symbol visibility for zo_kel_basics: the library is built with hidden visibility, and every
// public class and function carries ZO_KEL_API.
#ifndef ZO_KEL_EXPORT_H
#define ZO_KEL_EXPORT_H

#if defined(ZO_KEL_STATIC)
#define ZO_KEL_API
#else
#define ZO_KEL_API __attribute__((visibility("default")))
#endif

/// Marks the factories that keep their plain C names in the library's dynamic symbol table.
#define ZO_KEL_C_API extern "C" ZO_KEL_API

#endif  // ZO_KEL_EXPORT_H
