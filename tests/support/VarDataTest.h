// Shared helpers of the value tests: builders of arrays, dictionaries and inline kinds, byte
// images as hex, and the reference count of a guts object.
#ifndef ZO_KEL_TESTS_VARDATATEST_H
#define ZO_KEL_TESTS_VARDATATEST_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/VarData.h"
#include "support/KelTest.h"

namespace zo_kel_test {

/// The reference count of `guts`, read without changing it.
inline std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

/// An array holding `elements` from index 0 on (no elements: the array with no guts).
inline VarData ArrayOf(std::initializer_list<VarData> elements) {
  VarData a;
  a.Convert_(VarData::kArray);
  std::uint32_t i = 0;
  for (const VarData& e : elements) a.SetElement(i++, e);
  return a;
}

/// A dictionary of the given key and value pairs, set in order.
inline VarData DictOf(std::initializer_list<std::pair<VarData, VarData>> pairs) {
  VarData d = VarData::dict();
  for (const auto& p : pairs) d.setValue(p.first, p.second);
  return d;
}

/// An ID64 value.
inline VarData Id(unsigned long long id) {
  VarData v;
  v.setID64(id);
  return v;
}

/// A void pointer value.
inline VarData Pointer(std::uintptr_t p) {
  VarData v;
  v.setVoidPointer(reinterpret_cast<void*>(p));
  return v;
}

/// The serialized form of `v` without size prefix, as hex.
inline std::string ImageOf(const VarData& v, bool compact) {
  zo::kel::AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, compact);
  return ToHex(buffer.Data(), buffer.Len());
}

}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_VARDATATEST_H
