// Many threads share one tree of values (texts, arrays, dictionaries, times, raw bytes, a packet,
// a flattened variant) and copy, compare, convert, serialize and write through their copies at
// once, while the calendar conversions run under the library's global lock. Run under the tsan
// configuration, this is the proof that shared guts need no lock of the caller's.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kel/AutoBuffer.h"
#include "kel/StringBase.h"
#include "kel/fd/FlexData.h"
#include "kel/osdep/AbsTimeToString.h"
#include "kel/osdep/CriticalSection.h"
#include "kel/time/AbsTime.h"
#include "qmdynamic/VarDataFlexData.h"
#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::AutoBuffer;
using zo::kel::FlexData;
using zo_kel_test::CountOf;

constexpr int kThreads = 4;
constexpr int kRounds = 600;

std::string Image(const VarData& v) {
  AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, true);
  return std::string(reinterpret_cast<const char*>(buffer.Data()), buffer.Len());
}

std::string PacketOf(const VarData& v) {
  VarData packet;
  packet.adoptGuts(VarData::kFlexData, NewVarDataFlexDataFromVarData(v));
  const FlexData f = packet.getFlexData();
  return std::string(reinterpret_cast<const char*>(f.data()), f.size());
}

// The value flattened to a TG variant and read back as a dictionary.
std::string ThroughVariant(const VarData& v) {
  VarData flat = v;
  flat.Convert_(VarData::kTGVariant);
  flat.Convert_(VarData::kDictionary);
  return Image(flat);
}

std::wstring Calendar(const AbsTime& t, int local) {
  const zo::kel::WString s = zo::kel::osdep::AbsTimeToString(
      t, L"%Y-%m-%d", L"%H:%M:%S", 3,
      local != 0 ? zo::kel::osdep::kTimeStringLocal : zo::kel::osdep::kTimeStringUTC, false,
      nullptr);
  return std::wstring(s.begin(), s.end());
}

std::wstring Text(const VarData& v) {
  const zo::kel::WString s = v.getUnicodeString();
  return std::wstring(s.begin(), s.end());
}

VarData SharedTree() {
  VarData numbers;
  for (std::uint32_t i = 0; i < 32; ++i) numbers.SetElement(i, VarData(i * 1.5));
  const unsigned char bytes[] = {1, 2, 3, 4};
  FlexData packet;
  packet.setI32(-5);
  const unsigned short words[] = {4, 3};  // a 32-bit integer, big-endian in the data
  const unsigned char data[] = {0, 0, 0, 0x2A};
  return zo_kel_test::DictOf(
      {{"ansi", "narrow text"},
       {"wide", L"wide text \u00e9"},
       {"numbers", numbers},
       {"inner", zo_kel_test::DictOf({{7, true},
                                      {"abs", VarData(AbsTime(3.7e9, 0.25))},
                                      {"rel", VarData(zo::kel::RelTime(90.0, 0.5))}})},
       {"raw", VarData(bytes, 4u)},
       {"packet", VarData(packet)},
       {"variant", VarData::tgvar(words, 2u, data, 4u)}});
}

TEST(Stress, ThreadsShareCopyConvertSerializeAndWriteThroughCopies) {
  const VarData shared = SharedTree();
  const VarData numbers = shared.getValue("numbers");
  const AbsTime when(3.7e9, 0.125);
  const std::string image = Image(shared);
  const std::string packet = PacketOf(shared);
  const VarData inner = shared.getValue("inner");
  const std::string throughVariant = ThroughVariant(inner);
  VarData variantNumber = shared.getValue("variant");
  variantNumber.Convert_(VarData::kNumeric);
  ASSERT_EQ(42, static_cast<int>(variantNumber));
  const std::wstring text = Text(shared);
  const std::wstring utc = Calendar(when, 0);
  const std::wstring local = Calendar(when, 1);
  AutoBuffer sharedBuffer(reinterpret_cast<const unsigned char*>(image.data()),
                          static_cast<std::uint32_t>(image.size()));

  std::atomic<int> failures{0};
  auto fail = [&failures](bool ok) {
    if (!ok) ++failures;
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        VarData copy = shared;
        fail(copy.Compare(shared) == 0);
        fail(Image(copy) == image);
        // Read back from a buffer whose body every thread shares.
        AutoBuffer mine = sharedBuffer;
        std::uint32_t used = 0;
        const VarData read = VarData::DeserializeWithoutSize(mine.Data(), mine.Len(), used, true);
        fail(used == image.size() && read.Compare(shared) == 0);
        fail(Text(copy) == text);
        if (round % 8 == 0) fail(PacketOf(copy) == packet);
        if (round % 8 == 4) fail(ThroughVariant(copy.getValue("inner")) == throughVariant);
        // The shared flattened variant read concurrently.
        if (round % 8 == 2) {
          VarData variant = copy.getValue("variant");
          variant.Convert_(VarData::kNumeric);
          fail(variant.Compare(variantNumber) == 0);
        }
        // Conversions of shared elements, each on a handle of its own.
        VarData abs = static_cast<const VarData&>(copy)["inner"].getValue("abs");
        abs.Convert_(VarData::kUnicode);
        fail(abs.getKind() == VarData::kUnicode);
        VarData element = numbers.GetElement(static_cast<std::uint32_t>(round % 32));
        element.Convert_(VarData::kAnsi);
        fail(static_cast<double>(VarData(element.getAnsiString())) == (round % 32) * 1.5);
        // Writes through copies stay in the copies.
        copy.setValue("ansi", VarData(t));
        copy["numbers"].SetElement(0, VarData(-t));
        copy["inner"].setValue(VarData(7), VarData(false));
        fail(static_cast<int>(copy.getValue("ansi")) == t);
        mine.Append("x", 1);
        FlexData flex = shared.getValue("packet").getFlexData();
        flex.setAttribute("thread", FlexData(flex));
        fail(flex.hasAttribute("thread"));
        // The calendar conversions share one lock, also taken recursively by a caller.
        if (round % 4 == 0) {
          zo::kel::osdep::CriticalSectionGuard lock(zo::kel::osdep::g_timeConversionGuard);
          fail(Calendar(when, t % 2) == (t % 2 == 0 ? utc : local));
        } else {
          fail(Calendar(when, round % 2) == (round % 2 == 0 ? utc : local));
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(image, Image(shared));
  EXPECT_EQ(image.size(), sharedBuffer.Len());
  EXPECT_EQ(1, CountOf(shared.getGuts()));
  EXPECT_EQ(2, CountOf(numbers.getGuts()));  // held by the tree and by `numbers`
}

}  // namespace
