// Exhausted memory at every step of a round trip: a nested value is built, serialized, read
// back, converted, flattened to a packet and to a TG variant and brought back from each, with the
// Nth allocation refused for every N (operator new of this program and the library's own
// allocation hook share the count).
// Each run must end in std::bad_alloc or success: no crash, no leaked block, and every object
// either as it was before its step or as a complete run leaves it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "kel/AutoBuffer.h"
#include "kel/DLLMalloc.h"
#include "kel/fd/FlexData.h"
#include "kel/time/AbsTime.h"
#include "qmdynamic/VarDataFlexData.h"
#include "qmstatic/vardata/VarData.h"
#include "support/OperatorNewOwner.h"

// This program replaces operator new, which it cannot under ThreadSanitizer; the default, i386
// and sanitize configurations run it.
#ifdef ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW

TEST(AllocationFailure, EveryRefusedAllocationOfARoundTripEndsCleanly) {
  GTEST_SKIP() << "the ThreadSanitizer runtime owns operator new";
}

#else

namespace {

// Allocations left before one is refused; negative when nothing is refused.
long g_countdown = -1;
bool g_refused = false;
// Blocks from operator new not yet deleted.
long g_liveBlocks = 0;

bool RefuseNow() {
  if (g_countdown < 0) return false;
  if (g_countdown-- > 0) return false;
  g_countdown = -1;
  g_refused = true;
  return true;
}

bool LibraryHook(unsigned long long) { return RefuseNow(); }

// Out of line, so that the compiler does not pair the malloc and free below with new and delete.
[[gnu::noinline]] void* Obtain(std::size_t n) { return std::malloc(n == 0 ? 1 : n); }
[[gnu::noinline]] void Give(void* p) { std::free(p); }

}  // namespace

void* operator new(std::size_t n) {
  if (RefuseNow()) throw std::bad_alloc();
  void* p = Obtain(n);
  if (p == nullptr) throw std::bad_alloc();
  ++g_liveBlocks;
  return p;
}
void* operator new[](std::size_t n) { return ::operator new(n); }
void operator delete(void* p) noexcept {
  if (p == nullptr) return;
  --g_liveBlocks;
  Give(p);
}
void operator delete[](void* p) noexcept { ::operator delete(p); }
void operator delete(void* p, std::size_t) noexcept { ::operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { ::operator delete(p); }

namespace {

using zo::kel::AutoBuffer;
using zo::kel::FlexData;

std::string Bytes(const unsigned char* p, std::size_t n) {
  return std::string(reinterpret_cast<const char*>(p), n);
}
std::string Image(const VarData& v) {
  AutoBuffer b;
  v.SerializeWithoutSize(b, true);
  return Bytes(b.Data(), b.Len());
}

VarData BuildNested() {
  VarData root = VarData::dict();
  VarData numbers;
  for (std::uint32_t i = 0; i < 12; ++i) numbers.SetElement(i, VarData::num(i * 0.5, 3));
  root.setValue("numbers", numbers);
  VarData texts;
  texts.SetElement(0, VarData("first"));
  texts.SetElement(1, VarData("second"));
  root.setValue("texts", texts);
  VarData inner = VarData::dict();
  inner.setValue("abs", VarData(zo::kel::AbsTime(3.7e9, 0.5)));
  inner.setValue("flag", VarData(true));
  inner.setValue("wide", VarData(L"wide text"));
  root.setValue("inner", inner);
  return root;
}

const unsigned char kPrefix[] = {0xAA, 0xBB};

// The objects a round trip writes to, each holding its state from before the run.
struct Outputs {
  AutoBuffer image{kPrefix, 2u};
  VarData read{"unread"};
  VarData converted;
  FlexData packet;
  FlexData named;
  VarData back{"not back"};
  VarData variant{"not flat"};
  VarData fromVariant{"not read"};
  Outputs() {
    packet.setI32(1);
    named.setI32(2);
  }
};

void RoundTrip(Outputs& out) {
  const VarData v = BuildNested();
  v.SerializeWithoutSize(out.image, true);
  const unsigned char* cursor = out.image.Data() + 2;
  out.read.deserializeImpl(cursor, out.image.Data() + out.image.Len(), true);
  out.converted = v;
  out.converted.Convert_(VarData::kUnicode);
  VarData flat;
  flat.adoptGuts(VarData::kFlexData, NewVarDataFlexDataFromVarData(v));
  out.packet = flat.getFlexData();
  out.named.setAttribute("origin", out.packet);
  out.back = flat.getIFlexData()->convertToNativeTypeOrDictionary();
  out.variant = v;
  out.variant.Convert_(VarData::kTGVariant);
  out.fromVariant = out.variant;
  out.fromVariant.Convert_(VarData::kDictionary);
}

struct Snapshot {
  std::string image, read, converted, packet, named, back, variant, fromVariant;
};

Snapshot Take(const Outputs& out) {
  return {Bytes(out.image.Data(), out.image.Len()),
          Image(out.read),
          Image(out.converted),
          Bytes(out.packet.data(), out.packet.size()),
          Bytes(out.named.data(), out.named.size()),
          Image(out.back),
          Image(out.variant),
          Image(out.fromVariant)};
}

// Each object is as it was before its step or as a complete run leaves it, nothing between. A
// value assigned and then converted holds what was assigned when its conversion fails.
std::string HalfChanged(const Snapshot& now, const Snapshot& before, const Snapshot& after) {
  const std::string built = Image(BuildNested());
  std::string bad;
  auto check = [&](const char* name, const std::string Snapshot::*field,
                   const std::string& assigned = std::string()) {
    const std::string& got = now.*field;
    if (got != before.*field && got != after.*field && (assigned.empty() || got != assigned)) {
      bad += std::string(name) + " ";
    }
  };
  check("image", &Snapshot::image);
  check("read", &Snapshot::read);
  check("converted", &Snapshot::converted, built);
  check("packet", &Snapshot::packet);
  check("named", &Snapshot::named);
  check("back", &Snapshot::back);
  check("variant", &Snapshot::variant, built);
  check("fromVariant", &Snapshot::fromVariant, after.variant);
  return bad;
}

TEST(AllocationFailure, EveryRefusedAllocationOfARoundTripEndsCleanly) {
  Snapshot before, after;
  {
    Outputs out;
    before = Take(out);
    RoundTrip(out);  // also builds the library's lazily made statics
    after = Take(out);
  }
  ASSERT_NE(before.image, after.image);
  ASSERT_NE(before.back, after.back);
  // The variant is flattened and read back as a dictionary (of the numbers truncated to 32-bit
  // integers and the wide text made narrow, as the variant carries them).
  ASSERT_EQ(std::string("\x12\x10", 2), after.variant.substr(0, 2));
  ASSERT_EQ(std::string("\x0C\x10", 2), after.fromVariant.substr(0, 2));
  ASSERT_EQ(Image(BuildNested()).size() - 9, after.fromVariant.size());

  const auto previousHook = zo::kel::detail::SetAllocationHook(&LibraryHook);
  int failures = 0;
  long n = 0;
  for (;; ++n) {
    const long liveBefore = g_liveBlocks;
    bool threw = false;
    std::string problem;
    {
      Outputs out;
      g_refused = false;
      g_countdown = n;
      try {
        RoundTrip(out);
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      g_countdown = -1;
      if (threw && !g_refused) problem = "bad_alloc without a refusal ";
      const Snapshot now = Take(out);
      problem += HalfChanged(now, before, after);
      if (!threw && !(now.image == after.image && now.back == after.back &&
                      now.variant == after.variant && now.fromVariant == after.fromVariant)) {
        problem += "result ";
      }
    }
    if (g_liveBlocks != liveBefore) problem += "leak ";
    if (!problem.empty() && ++failures <= 5) ADD_FAILURE() << "allocation " << n << ": " << problem;
    if (!g_refused) break;
  }
  zo::kel::detail::SetAllocationHook(previousHook);
  EXPECT_EQ(0, failures);
  EXPECT_GT(n, 50) << "the round trip should allocate at many places";
}

}  // namespace

#endif  // ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW
