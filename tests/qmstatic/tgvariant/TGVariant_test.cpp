#include "qmstatic/tgvariant/TGVariant.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kel/exception.h"
#include "kel/time/AbsTime.h"
#include "support/KelTest.h"
#include "support/VarDataTest.h"

namespace {

using bry::DictionaryConversion;
using zo::kel::AString;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;
using Words = std::vector<unsigned short>;
using Unable = zo::kel::exception::UnableToConvert;
using Syntax = zo::kel::exception::SyntaxError;
constexpr auto kCluster = bry::kDictionaryAsCluster;
constexpr auto kVariant = bry::kDictionaryAsVariant;
constexpr auto kNone = bry::kDictionaryNotConvertible;
constexpr std::int32_t kSyntaxCode = static_cast<std::int32_t>(0x8ABC7004u);

struct Flat {
  Words words;
  Bytes data;
};

// Descriptor words from hex text, four digits a word: "0004 0021".
Words W(const std::string& hex) {
  const Bytes b = Hex(hex);
  Words w;
  for (std::size_t i = 0; i + 1 < b.size(); i += 2)
    w.push_back(static_cast<unsigned short>(b[i] << 8 | b[i + 1]));
  return w;
}

// Flattens into buffers of exactly the reported sizes.
Flat Flatten(const VarData& v, DictionaryConversion mode, const char* name = "") {
  std::uint32_t nw = 0, nd = 0;
  bry::VarDataToTGVariantLength(v, AString(name), mode, nw, nd);
  Flat f{Words(nw), Bytes(nd)};
  bry::VarDataToTGVariant(v, AString(name), mode, f.words.data(), f.words.data() + nw,
                          f.data.data(), f.data.data() + nd);
  return f;
}

VarData Read(const Words& w, const Bytes& d, DictionaryConversion mode, bool wide = false,
             AString* name = nullptr) {
  AString ignored;
  return bry::TGVariantToVarData(w.data(), w.data() + w.size(), d.data(), d.data() + d.size(), mode,
                                 name != nullptr ? *name : ignored, wide);
}

constexpr auto Array = zo_kel_test::ArrayOf;
constexpr auto Dict = zo_kel_test::DictOf;

// Arrays nested `levels` deep around `v`.
VarData Nested(int levels, VarData v = 1.5) {
  for (int i = 0; i < levels; ++i) v = Array({v});
  return v;
}

TEST(TGVariant, EveryCodeFlattensToItsWordsAndBytes) {
  const zo::kel::AbsTime time(
      nZOSS100::tSignedFixedPoint128::FromWords(0, 0x12345678, 1u << 31, 0));
  const unsigned char raw[] = {0x00, 0xFF};
  struct Case {
    VarData value;
    const char* name;
    DictionaryConversion mode;
    const char *words, *data;
    VarData back;  // the value read back
  } cases[] = {
      {VarData(), "", kNone, "0004 0000", "", VarData()},
      {VarData(true), "x", kNone, "0006 4021 0178", "01", VarData(true)},
      {VarData(false), "", kNone, "0004 0021", "00", VarData(false)},
      {VarData(1.5), "ab", kNone, "0008 400A 0261 6200", "3F F8 00 00 00 00 00 00", 1.5},
      {VarData::num(-2, 1), "abc", kNone, "0008 4001 0361 6263", "FE", VarData::num(-2, 1)},
      {VarData::num(-3.9, 2), "", kNone, "0004 0002", "FF FD", VarData::num(-3, 2)},
      {VarData::num(-2, 3), "", kNone, "0004 0003", "FF FF FF FE", VarData::num(-2, 3)},
      // Out-of-range numbers convert as into packet elements (checked in full there).
      {VarData::num(300, 4), "", kNone, "0004 0005", "2C", VarData::num(44, 4)},
      {VarData::num(-1, 5), "", kNone, "0004 0006", "FF FF", VarData::num(65535, 5)},
      {VarData::num(4e9, 6), "", kNone, "0004 0007", "EE 6B 28 00", VarData::num(4e9, 6)},
      {VarData::num(1.5, 7), "", kNone, "0004 0009", "3F C0 00 00", VarData::num(1.5, 7)},
      {VarData::bitArray(0x12345678), "", kNone, "0004 0007", "12 34 56 78",
       VarData::num(0x12345678, 6)},
      {VarData("ab"), "", kNone, "0008 0030 FFFF FFFF", "00 00 00 02 61 62", VarData("ab")},
      {VarData(L"ab"), "", kNone, "0008 0030 FFFF FFFF", "00 00 00 02 61 62", VarData("ab")},
      {VarData(raw, 2), "", kNone, "0008 0030 FFFF FFFF", "00 00 00 02 00 FF",
       VarData(AString("\0\xFF", 2))},
      {VarData(time), "", kNone, "0004 0054", "00 00 00 00 12 34 56 78 80 00 00 00 00 00 00 00",
       VarData(time)},
      {Array({1.5, 2.5}), "", kNone, "000E 0040 0001 FFFF FFFF 0004 000A",
       "00 00 00 02 3F F8 00 00 00 00 00 00 40 04 00 00 00 00 00 00", Array({1.5, 2.5})},
      // Cluster elements in the exact order of their keys: "C" < "a" < "b".
      {Dict({{"b", VarData::num(1, 4)}, {"C", VarData()}, {"a", true}}), "", kCluster,
       "0018 0050 0003 0006 4000 0143 0006 4021 0161 0006 4005 0162", "01 01",
       Dict({{"b", VarData::num(1, 4)}, {"C", VarData()}, {"a", true}})},
      {Dict({{"k", 1.5}}), "", kVariant, "0004 0053",
       "00 04 00 00 00 00 00 01 00 00 00 01 6B 00 04 00 0A 3F F8 00 00 00 00 00 00 00 00 00 00",
       Dict({{"k", 1.5}})},
      {VarData::dict(), "", kVariant, "0004 0053", "00 04 00 00 00 00 00 00", VarData::dict()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.data);
    const Flat f = Flatten(c.value, c.mode, c.name);
    EXPECT_EQ(W(c.words), f.words);
    EXPECT_EQ(c.data, ToHex(f.data));
    AString name;
    const VarData back = Read(f.words, f.data, c.mode, false, &name);
    EXPECT_EQ(c.back.getTypeWord(), back.getTypeWord());
    EXPECT_EQ(0, c.back.Compare(back));
    EXPECT_STREQ(c.name, name.c_str());
  }
}

TEST(TGVariant, NestedValuesRoundTrip) {
  const VarData inner = Dict(
      {{"n", Array({VarData::num(7, 1), VarData::num(-7, 1)})}, {"s", "text"}, {"e", VarData()}});
  const VarData outer = Dict({{"list", Array({inner, inner})}, {"x", Array({Array({"a", "bc"})})}});
  for (DictionaryConversion mode : {kCluster, kVariant}) {
    const Flat f = Flatten(outer, mode);
    EXPECT_EQ(0, outer.Compare(Read(f.words, f.data, mode))) << mode;
    // Wide reading makes strings and keys wide.
    const VarData wide = Read(f.words, f.data, mode, true);
    EXPECT_EQ(VarData::kUnicode, wide[L"x"].GetElement(0).GetElement(1).getKind());
    EXPECT_EQ(L"bc",
              std::wstring(wide[L"x"].GetElement(0).GetElement(1).getUnicodeString().c_str()));
  }
  // Arrays keep empty elements, trailing ones too; 256 levels are read back.
  VarData empties;
  empties.SetElement(1, VarData(1));
  empties.SetElement(1, VarData());
  const Flat e = Flatten(empties, kNone);
  EXPECT_EQ(2u, Read(e.words, e.data, kNone).GetLength());
  const Flat deep = Flatten(Nested(255), kNone);
  EXPECT_EQ(0, Nested(255).Compare(Read(deep.words, deep.data, kNone)));
  // Mode 2 carries what a cluster cannot: keys that differ per element, empty keys.
  const VarData ragged = Array({Dict({{"a", 1}}), Dict({{"", 2}, {"b", Dict({})}})});
  const Flat r = Flatten(ragged, kVariant);
  EXPECT_EQ(0, ragged.Compare(Read(r.words, r.data, kVariant)));
}

TEST(TGVariant, WriterRefusesWhatCannotBeReadBack) {
  const VarData cell(1, 2, VarData(3));
  VarData nullArray, emptyArray;
  nullArray.Convert_(VarData::kArray);
  emptyArray.adoptGuts(VarData::kArray, NewVectorGuts());
  struct Case {
    VarData value;
    DictionaryConversion mode;
    std::string name;
  };
  // clang-format off
  const Case cases[] = {
      {nullArray, kNone, ""}, {emptyArray, kNone, ""}, {Array({1.5, true}), kNone, ""},
      {Array({Dict({{"a", 1}}), Dict({{"b", 1}})}), kCluster, ""}, {Dict({}), kNone, ""},
      {Dict({{"", 1}}), kCluster, ""}, {Dict({{1, 1}}), kCluster, ""},
      {Dict({{"a", 1}, {L"A", 2}}), kVariant, ""}, {Dict({{"a", 1}, {L"a", 2}}), kCluster, ""},
      {VarData::num(1, 9), kNone, ""}, {VarData::pulse(), kNone, ""}, {cell, kNone, ""},
      {VarData(zo::kel::RelTime(nZOSS100::tSignedFixedPoint128(1))), kNone, ""},
      {VarData(1.5), kNone, std::string(256, 'n')}, {Nested(256), kNone, ""},
      {Nested(255, VarData::dict()), kVariant, ""}};
  // clang-format on
  for (const Case& c : cases) {
    std::uint32_t nw = 7, nd = 9;
    EXPECT_KEL_THROW(
        bry::VarDataToTGVariantLength(c.value, AString(c.name.c_str()), c.mode, nw, nd), Unable, -1,
        "Unable to convert.");
    EXPECT_EQ(7u, nw);
    EXPECT_EQ(9u, nd);
  }
  // Buffers one word or one byte short overflow without writing past them.
  Words w(4, 0xAAAA);
  Bytes d(9, 0xAA);
  for (const std::uint32_t words : {1u, 2u}) {  // 1.5 takes 2 words and 8 bytes
    EXPECT_KEL_THROW(bry::VarDataToTGVariant(1.5, AString(), kNone, w.data(), w.data() + words,
                                             d.data(), d.data() + 9 - words),
                     zo::kel::exception::BufferOverflow, 0x8ABC7017u, "Buffer overflowed");
  }
  EXPECT_EQ(0xAAAA, w[2]);
  EXPECT_EQ(0xAA, d[7]);
}

TEST(TGVariant, ReaderRefusesMalformedPairs) {
  struct Case {
    const char *words, *data;
    DictionaryConversion mode;
    const char* syntax;  // SyntaxError text, or null for UnableToConvert
  } cases[] = {
      // clang-format off
      {"0004 0055", "", kNone, nullptr}, {"0004 0004", "", kNone, nullptr},
      {"0004 04FF", "", kNone, nullptr}, {"0008 0030 FFFF 0000", "00 00 00 00", kNone, nullptr},
      {"000E 0040 0002 FFFF FFFF 0004 000A", "00 00 00 00", kNone, nullptr},
      {"0006 0050 0000", "", kNone, nullptr}, {"0006 0050 0000", "", kVariant, nullptr},
      {"0004 0053", "00 04 00 00 00 00 00 00", kCluster, nullptr},
      {"000A 0050 0001 0004 0021", "01", kCluster, nullptr},
      // clang-format on
      {"0012 0050 0002 0006 4021 0161 0006 4021 0141", "01 00", kCluster, nullptr},
      {"0004 0053", "00 04 00 21 01 00 00 00 00", kVariant, nullptr},
      {"0004 0053", "00 04 00 21 01 00 00 00 01 00 00 00 00 00 04 00 00 00 00 00 00", kVariant,
       nullptr},
      {"", "", kNone, "SyntaxError: descriptor ends inside a type"},
      {"0002", "", kNone, "SyntaxError: descriptor ends inside a type"},
      {"0008 0021", "01", kNone, "SyntaxError: descriptor ends inside a type"},
      {"0004 4021", "01", kNone, "SyntaxError: descriptor ends inside a type"},
      {"0006 4021 0561", "01", kNone, "SyntaxError: descriptor ends inside a type"},
      {"0001 0021", "01", kNone, "SyntaxError: descriptor length below 2"},
      {"0005 0021 0000", "01", kNone, "SyntaxError: descriptor length is odd"},
      {"0006 0021 0000", "01", kNone, "SyntaxError: descriptor length does not match its words"},
      {"0004 0021 0000", "01", kNone, "SyntaxError: words follow the descriptor"},
      {"0004 0021", "", kNone, "SyntaxError: data ends inside a value"},
      {"0004 0021", "01 02", kNone, "SyntaxError: bytes follow the data"},
      {"0008 0030 FFFF FFFF", "00 00 00 03 61 62", kNone, "SyntaxError: data ends inside a value"},
      // A huge count is refused before anything is built.
      {"000E 0040 0001 FFFF FFFF 0004 000A", "FF FF FF FF", kNone,
       "SyntaxError: data ends inside a value"},
      {"000E 0040 0001 FFFF FFFF 0004 0000", "00 10 00 01", kNone,
       "SyntaxError: too many elements without data"},
      // Each element of clusters of two voids builds three values: 2^19 of them are too many.
      {"001C 0040 0001 FFFF FFFF 0012 0050 0002 0006 4000 0161 0006 4000 0162", "00 08 00 00",
       kCluster, "SyntaxError: too many elements without data"},
      // Voids count wherever they stand: {a: 2^20 voids, b: one more void}.
      {"001C 0050 0002 0010 4040 0001 FFFF FFFF 0004 0000 0161 0006 4000 0162", "00 10 00 00",
       kCluster, "SyntaxError: too many elements without data"},
      {"0004 0053", "00 03 00 00 00 00 00 00", kVariant, "SyntaxError: descriptor length is odd"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.words);
    if (c.syntax == nullptr) {
      EXPECT_KEL_THROW(Read(W(c.words), Hex(c.data), c.mode), Unable, -1, "Unable to convert.");
    } else {
      EXPECT_KEL_THROW(Read(W(c.words), Hex(c.data), c.mode), Syntax, kSyntaxCode, c.syntax);
    }
  }
  // Nesting: one array around the deepest the writer makes does not read; nor do variants
  // nested in attributes.
  const Flat deep = Flatten(Nested(255), kNone);
  Words words = {static_cast<unsigned short>(2 * (deep.words.size() + 5)), 0x40, 1, 0xFFFF, 0xFFFF};
  words.insert(words.end(), deep.words.begin(), deep.words.end());
  Bytes data = Hex("00 00 00 01");
  data.insert(data.end(), deep.data.begin(), deep.data.end());
  EXPECT_KEL_THROW(Read(words, data, kNone), Syntax, kSyntaxCode,
                   "SyntaxError: nesting deeper than 256 levels");
  std::string chain;
  for (int i = 0; i < 300; ++i) chain += "00 04 00 00 00 00 00 01 00 00 00 00 ";
  EXPECT_KEL_THROW(Read({4, 0x53}, Hex(chain), kVariant), Syntax, kSyntaxCode,
                   "SyntaxError: nesting deeper than 256 levels");
  AString name("kept");
  EXPECT_THROW(Read({1}, {}, kNone, false, &name), Syntax);
  EXPECT_STREQ("kept", name.c_str());
}

TEST(VarDataTGVariant, HoldsCopiesOrdersByDescriptorThenDataAndConvertsThroughTheCodec) {
  unsigned short words[] = {6, 0x4021, 0x0178};
  unsigned char data[] = {1};
  const VarData v = VarData::tgvar(words, 3u, data, 1u);
  words[0] = 0;
  data[0] = 0;
  const unsigned short* w = nullptr;
  const unsigned char* d = nullptr;
  std::uint32_t wn = 0, dn = 0;
  v.getTGVariant(w, wn, d, dn);
  EXPECT_EQ((Words{6, 0x4021, 0x0178}), Words(w, w + wn));
  EXPECT_EQ("01", ToHex(d, dn));
  EXPECT_THROW(VarData(1).getTGVariant(w, wn, d, dn), TypeErrorException);
  EXPECT_TRUE(static_cast<bool>(v));
  EXPECT_EQ(1.0, static_cast<double>(v));
  VarData kept = v;  // already flat: converting keeps the guts
  kept.Convert_(VarData::kTGVariant);
  EXPECT_EQ(v.getGuts(), kept.getGuts());

  const unsigned short a[] = {4, 0x21};
  const unsigned char zero[] = {0}, one[] = {1};
  EXPECT_EQ(0, VarData::tgvar(a, 2u, one, 1u).Compare(VarData::tgvar(a, a + 2, one, one + 1)));
  EXPECT_EQ(-1, VarData::tgvar(a, 2u, zero, 1u).Compare(VarData::tgvar(a, 2u, one, 1u)));
  EXPECT_EQ(1, VarData::tgvar(a, 2u, one, 1u).Compare(VarData::tgvar(a, 2u, zero, 1u)));
  EXPECT_EQ(-1, VarData::tgvar(a, 1u, one, 1u).Compare(VarData::tgvar(a, 2u, zero, 1u)));

  // A pair that cannot be decoded is false and 0.0 rather than an error.
  const VarData garbage = VarData::tgvar(a, 1u, nullptr, 0u);
  EXPECT_EQ(0.0, static_cast<double>(garbage));

  // Truth and number read without dictionaries; conversions read them as variants.
  const VarData source = Dict({{"k", 2.5}});
  VarData converted = source;
  converted.Convert_(VarData::kTGVariant);
  converted.getTGVariant(w, wn, d, dn);
  EXPECT_EQ((Words{4, 0x53}), Words(w, w + wn));
  EXPECT_FALSE(static_cast<bool>(converted));
  converted.Convert_(VarData::kDictionary);
  EXPECT_EQ(0, source.Compare(converted));
  // What cannot be flattened becomes the empty TG variant value.
  VarData pulse = VarData::pulse();
  pulse.Convert_(VarData::kTGVariant);
  EXPECT_EQ(VarData::kTGVariant, pulse.getKind());
  EXPECT_EQ(nullptr, pulse.getGuts());
}

}  // namespace
