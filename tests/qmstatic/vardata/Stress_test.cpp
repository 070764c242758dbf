// Many threads share one tree of values (texts, arrays, dictionaries, times, raw bytes, a packet,
// a flattened variant) and copy, compare, convert, serialize and write through their copies at
// once. Run under the tsan configuration, this is the proof that shared guts need no lock of the
// caller's.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kel/AutoBuffer.h"
#include "kel/StringBase.h"
#include "kel/fd/FlexData.h"
#include "kel/time/AbsTime.h"
#include "qmdynamic/VarDataFlexData.h"
#include "qmstatic/vardata/VarData.h"
#include "support/VarDataTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::AutoBuffer;
using zo::kel::FlexData;
using zo_kel_test::CountOf;

std::string Image(const VarData& v) { return zo_kel_test::ImageOf(v, true); }

// The value converted to `kind` and then to `back`, as an image.
std::string Through(VarData v, std::uint16_t kind, std::uint16_t back) {
  v.Convert_(kind);
  v.Convert_(back);
  return Image(v);
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
  const std::string image = Image(shared);
  const std::string text = Through(shared, VarData::kUnicode, VarData::kUnicode);
  const std::string packet = Through(shared, VarData::kFlexData, VarData::kFlexData);
  const std::string variant =
      Through(shared.getValue("inner"), VarData::kTGVariant, VarData::kDictionary);
  const std::string number = Through(shared.getValue("variant"), VarData::kNumeric, 3);
  ASSERT_EQ(Image(VarData(42)), number);
  AutoBuffer sharedBuffer;
  shared.SerializeWithoutSize(sharedBuffer, true);
  const std::uint32_t size = sharedBuffer.Len();

  std::atomic<int> failures{0};
  auto fail = [&failures](bool ok) { failures += ok ? 0 : 1; };
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 600; ++round) {
        VarData copy = shared;
        fail(copy.Compare(shared) == 0 && Image(copy) == image);
        // Read back from a buffer whose body every thread shares.
        AutoBuffer mine = sharedBuffer;
        std::uint32_t used = 0;
        const VarData read = VarData::DeserializeWithoutSize(mine.Data(), mine.Len(), used, true);
        fail(used == size && read.Compare(shared) == 0);
        mine.Append("x", 1);
        // Conversions of shared values and elements, each on a handle of its own.
        fail(Through(copy, VarData::kUnicode, VarData::kUnicode) == text);
        if (round % 8 == 0) fail(Through(copy, VarData::kFlexData, VarData::kFlexData) == packet);
        if (round % 8 == 4) {
          fail(Through(copy.getValue("inner"), VarData::kTGVariant, VarData::kDictionary) ==
               variant);
        }
        if (round % 8 == 2) fail(Through(copy.getValue("variant"), 3, 3) == number);
        VarData element = numbers.GetElement(static_cast<std::uint32_t>(round % 32));
        element.Convert_(VarData::kAnsi);
        fail(static_cast<double>(VarData(element.getAnsiString())) == (round % 32) * 1.5);
        // Writes through copies stay in the copies.
        copy.setValue("ansi", VarData(t));
        copy["numbers"].SetElement(0, VarData(-t));
        copy["inner"].setValue(VarData(7), VarData(false));
        fail(static_cast<int>(copy.getValue("ansi")) == t);
        FlexData flex = shared.getValue("packet").getFlexData();
        flex.setAttribute("thread", FlexData(flex));
        fail(flex.hasAttribute("thread"));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(image, Image(shared));
  EXPECT_EQ(size, sharedBuffer.Len());
  EXPECT_EQ(1, CountOf(shared.getGuts()));
  EXPECT_EQ(2, CountOf(numbers.getGuts()));  // held by the tree and by `numbers`
}

}  // namespace
