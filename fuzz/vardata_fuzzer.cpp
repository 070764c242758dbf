// Fuzz target: the VarData readers on the same bytes in the compact form, the full form and as a
// stream of size-prefixed records. What decodes must re-encode to bytes that decode to an equal
// value and re-encode to the same bytes; a failed read leaves the handle and the cursor as they
// were.
#include <cstdint>
#include <cstring>

#include "FuzzCheck.h"
#include "kel/AutoBuffer.h"
#include "kel/exception.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo_kel_fuzz::Bytes;
using zo_kel_fuzz::ToBytes;

Bytes Encode(const VarData& v, bool compact) {
  zo::kel::AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, compact);
  FUZZ_CHECK(buffer.Len() == v.valueSerializationSizeImpl(compact) + 4);
  return ToBytes(buffer);
}

// A dictionary that a failed read must leave holding the same guts and the same pair.
VarData Sentinel() {
  VarData v = VarData::dict();
  v.setValue(VarData("key"), VarData(42));
  return v;
}

void CheckUnchanged(const VarData& target, const IVarDataGuts* guts) {
  FUZZ_CHECK(target.getKind() == VarData::kDictionary);
  FUZZ_CHECK(target.getGuts() == guts);
  FUZZ_CHECK(target.size() == 1 && target.Compare(Sentinel()) == 0);
}

// Reads `image` back, which a writer produced from `v` in the same form.
void CheckReadsBack(const VarData& v, const Bytes& image, bool compact) {
  const unsigned char* cursor = image.data();
  VarData again;
  again.deserializeImpl(cursor, image.data() + image.size(), compact);
  FUZZ_CHECK(cursor == image.data() + image.size());
  FUZZ_CHECK(again.Compare(v) == 0 && v.Compare(again) == 0);
  FUZZ_CHECK(Encode(again, compact) == image);
}

void CheckForm(const std::uint8_t* data, std::size_t size, bool compact) {
  const unsigned char* const end = data + size;
  const unsigned char* cursor = data;
  VarData target = Sentinel();
  const IVarDataGuts* guts = target.getGuts();
  try {
    target.deserializeImpl(cursor, end, compact);
  } catch (const zo::kel::exception::Exception&) {
    FUZZ_CHECK(cursor == data);
    CheckUnchanged(target, guts);
    std::uint32_t consumed = 1;
    try {
      VarData::DeserializeWithoutSize(data, static_cast<std::uint32_t>(size), consumed, compact);
      FUZZ_CHECK(!"DeserializeWithoutSize accepted what deserializeImpl refused");
    } catch (const DeserializationErrorException&) {
      FUZZ_CHECK(consumed == 0);
    }
    return;
  }
  FUZZ_CHECK(cursor > data && cursor <= end);
  const Bytes image = Encode(target, compact);
  CheckReadsBack(target, image, compact);
  // The full form carries everything the compact form does (not the reverse: a void pointer
  // keeps only its low 32 bits in the compact form).
  if (!compact) return;
  const Bytes other = Encode(target, !compact);
  const unsigned char* otherCursor = other.data();
  VarData crossed;
  crossed.deserializeImpl(otherCursor, other.data() + other.size(), !compact);
  FUZZ_CHECK(otherCursor == other.data() + other.size());
  FUZZ_CHECK(Encode(crossed, compact) == image);
}

// Records one after the other, as a reader of a file of records meets them.
void CheckRecordStream(const std::uint8_t* data, std::size_t size) {
  const unsigned char* const end = data + size;
  const unsigned char* cursor = data;
  while (static_cast<std::size_t>(end - cursor) >= 4) {
    const unsigned char* const start = cursor;
    std::uint32_t prefix;
    std::memcpy(&prefix, start, 4);
    const std::size_t room = static_cast<std::size_t>(end - start) - 4;

    VarData strict = Sentinel();
    const IVarDataGuts* guts = strict.getGuts();
    const unsigned char* strictCursor = start;
    bool readable = true;
    try {
      strict.deserializeWithSizeImpl(strictCursor, end, true);
    } catch (const zo::kel::exception::Exception&) {
      readable = false;
      FUZZ_CHECK(strictCursor == start);
      CheckUnchanged(strict, guts);
    }

    VarData v = VarData::DeserializeWithSize(cursor, static_cast<std::uint32_t>(end - start));
    if (readable) {
      FUZZ_CHECK(prefix <= room && cursor == start + 4 + prefix);
      FUZZ_CHECK(v.Compare(strict) == 0);
      zo::kel::AutoBuffer buffer;
      v.SerializeWithSize(buffer);
      const Bytes record = ToBytes(buffer);
      const unsigned char* again = record.data();
      const VarData back =
          VarData::DeserializeWithSize(again, static_cast<std::uint32_t>(record.size()));
      FUZZ_CHECK(again == record.data() + record.size());
      FUZZ_CHECK(back.Compare(v) == 0);
    } else {
      // A damaged record is skipped as far as its prefix says, never past the end.
      FUZZ_CHECK(v.IsEmpty());
      FUZZ_CHECK(cursor == start + 4 + (prefix < room ? prefix : room));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckForm(data, size, true);
  CheckForm(data, size, false);
  CheckRecordStream(data, size);
  return 0;
}
