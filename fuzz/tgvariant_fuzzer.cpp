// Fuzz target: the TG variant reader on a descriptor and a data stream split from the input.
//
// Input layout: byte 0 chooses the dictionary mode (low two bits, modulo 3) and wide text (bit 2);
// bytes 1-2 are the descriptor's length in 16-bit words (little-endian, cut to what follows);
// the descriptor's words follow in the machine's order, and every remaining byte is data.
//
// What reads must flatten again, except that an array read with no elements has no flattened
// form (the writer describes an array by its element 0); the flattened pair must read back to an
// equal value, and flattening that again must give the same words and bytes. A failed read leaves
// the label untouched.
#include <cstdint>
#include <cstring>
#include <vector>

#include "FuzzCheck.h"
#include "kel/exception.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VarData.h"

namespace {

struct Pair {
  std::vector<unsigned short> words;
  std::vector<unsigned char> bytes;
  bool operator==(const Pair& o) const { return words == o.words && bytes == o.bytes; }
};

Pair Flatten(const VarData& v, const zo::kel::AString& name, bry::DictionaryConversion mode) {
  std::uint32_t nw = 0xDEAD;
  std::uint32_t nd = 0xBEEF;
  bry::VarDataToTGVariantLength(v, name, mode, nw, nd);
  Pair p{std::vector<unsigned short>(nw), std::vector<unsigned char>(nd)};
  bry::VarDataToTGVariant(v, name, mode, p.words.data(), p.words.data() + nw, p.bytes.data(),
                          p.bytes.data() + nd);
  return p;
}

VarData Read(const Pair& p, bry::DictionaryConversion mode, zo::kel::AString& name, bool wide) {
  return bry::TGVariantToVarData(p.words.data(), p.words.data() + p.words.size(), p.bytes.data(),
                                 p.bytes.data() + p.bytes.size(), mode, name, wide);
}

bool HoldsEmptyArray(const VarData& v) {
  if (v.getKind() == VarData::kArray) {
    const std::uint32_t n = v.GetLength();
    if (n == 0) return true;
    for (std::uint32_t i = 0; i < n; ++i) {
      if (HoldsEmptyArray(v.GetElement(i))) return true;
    }
  } else if (v.getKind() == VarData::kDictionary) {
    for (auto it = v.begin(); it != v.end(); ++it) {
      if (HoldsEmptyArray(it.value())) return true;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const auto mode = static_cast<bry::DictionaryConversion>((data[0] & 3) % 3);
  const bool wide = (data[0] & 4) != 0;
  std::size_t words = data[1] | (static_cast<std::size_t>(data[2]) << 8);
  if (words > (size - 3) / 2) words = (size - 3) / 2;
  // Exact-size copies, so that AddressSanitizer sees any read past either range.
  Pair input{std::vector<unsigned short>(words), {}};
  if (words != 0) std::memcpy(input.words.data(), data + 3, words * 2);
  input.bytes.assign(data + 3 + words * 2, data + size);

  zo::kel::AString name("sentinel");
  VarData v;
  try {
    v = Read(input, mode, name, wide);
  } catch (const zo::kel::exception::Exception&) {
    FUZZ_CHECK(name == zo::kel::AString("sentinel"));
    return 0;
  }

  Pair first;
  try {
    first = Flatten(v, name, mode);
  } catch (const zo::kel::exception::UnableToConvert&) {
    FUZZ_CHECK(HoldsEmptyArray(v));
    return 0;
  }
  zo::kel::AString againName("other");
  const VarData again = Read(first, mode, againName, wide);
  FUZZ_CHECK(againName == name);
  // Wide text crosses as the locale's narrow text, so only narrow values must compare equal.
  if (!wide) FUZZ_CHECK(again.Compare(v) == 0 && v.Compare(again) == 0);
  FUZZ_CHECK(Flatten(again, againName, mode) == first);
  return 0;
}
