// Guts made and read by another module (ForeignGuts_test.cpp), which declares the guts interfaces
// from their slot order alone. Pointers cross as void*: the two sides do not share declarations.
#ifndef ZO_KEL_TESTS_FOREIGNGUTS_TEST_H
#define ZO_KEL_TESTS_FOREIGNGUTS_TEST_H

#include <cstdint>
#include <string>

/// The reference count and the number of live objects of foreign guts.
struct ForeignProbe {
  std::int32_t count = 0;
  int live = 0;
};

/// A byte-block guts (as its IVarDataGuts pointer) holding a copy of the bytes; count 1.
void* MakeForeignRaw(ForeignProbe& probe, const unsigned char* data, std::uint32_t count);
/// A TG variant guts holding one descriptor word and one data byte; count 1.
void* MakeForeignTGVariant(ForeignProbe& probe, unsigned short word, unsigned char byte);

/// Calls through the foreign declarations on guts the library made.
struct ForeignView {
  /// The upper-case text made through the second interface (ToUpper), released again; tells
  /// whether that interface sits one pointer after the first. Notes in the text what went wrong
  /// with the orders, the counts or the release.
  static std::string upperThroughSecondInterface(void* ansiGuts, bool& secondAfterFirst);
};

#endif  // ZO_KEL_TESTS_FOREIGNGUTS_TEST_H
