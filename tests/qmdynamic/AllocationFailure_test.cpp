// Exhausted memory at every step of a round trip (serialize, read back, convert, flatten to a
// packet and a TG variant and back), the Nth allocation refused for every N: each run ends in
// std::bad_alloc or success, leaks nothing, and leaves every object as it was or complete.
#include <gtest/gtest.h>

#include <array>
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
#include "support/VarDataTest.h"

// ThreadSanitizer's runtime owns operator new, which this program replaces.
#ifdef ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW

TEST(AllocationFailure, EveryRefusedAllocationOfARoundTripEndsCleanly) {
  GTEST_SKIP() << "the ThreadSanitizer runtime owns operator new";
}

#else

namespace {

long g_countdown = -1;  // allocations left before one is refused; negative: none is
bool g_refused = false;
long g_liveBlocks = 0;  // blocks from operator new not yet deleted

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
using zo_kel_test::ToHex;

std::string Image(const VarData& v) { return zo_kel_test::ImageOf(v, true); }

VarData BuildNested() {
  VarData numbers;
  for (std::uint32_t i = 0; i < 12; ++i) numbers.SetElement(i, VarData::num(i * 0.5, 3));
  return zo_kel_test::DictOf(
      {{"numbers", numbers},
       {"texts", zo_kel_test::ArrayOf({"first", "second"})},
       {"inner", zo_kel_test::DictOf({{"abs", VarData(zo::kel::AbsTime(3.7e9, 0.5))},
                                      {"flag", true},
                                      {"wide", L"wide text"}})}});
}

const unsigned char kPrefix[] = {0xAA, 0xBB};
constexpr int kOutputs = 8;

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
  // Each output's bytes, in the order above.
  std::array<std::string, kOutputs> Take() const {
    return {{ToHex(image.Data(), image.Len()), Image(read), Image(converted),
             ToHex(packet.data(), packet.size()), ToHex(named.data(), named.size()), Image(back),
             Image(variant), Image(fromVariant)}};
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

TEST(AllocationFailure, EveryRefusedAllocationOfARoundTripEndsCleanly) {
  std::array<std::string, kOutputs> before, after;
  {
    Outputs out;
    before = out.Take();
    RoundTrip(out);  // also builds the library's lazily made statics
    after = out.Take();
  }
  // The variant is flattened and read back as a dictionary (of the numbers truncated to 32-bit
  // integers and the wide text made narrow, as the variant carries them).
  ASSERT_EQ("12 10", after[6].substr(0, 5));
  ASSERT_EQ(Image(BuildNested()).size() - 9 * 3, after[7].size());  // 9 bytes fewer, as hex
  // Besides its state before and after, a value assigned and then converted may hold what was
  // assigned when its conversion fails: the built value, or the flattened variant.
  std::array<std::string, kOutputs> assigned;
  assigned[2] = assigned[6] = Image(BuildNested());
  assigned[7] = after[6];

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
      const std::array<std::string, kOutputs> now = out.Take();
      for (int i = 0; i < kOutputs; ++i) {
        const bool whole = now[i] == before[i] || now[i] == after[i] ||
                           (!assigned[i].empty() && now[i] == assigned[i]);
        if (!whole || (!threw && now[i] != after[i]))
          problem += "output " + std::to_string(i) + " ";
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
