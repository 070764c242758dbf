// zo-kel driven as a process: the samples decode and come back byte for byte through JSON, every
// kind survives the JSON form, errors give status 2 with the form and offset, and damaged input
// never crashes the tool.

// g++ 12 with -O1 and the sanitizers reports a std::function inside std::regex's compiled
// automaton as maybe used uninitialized (a false positive of its own headers); the pragma must
// precede every include so that it covers them.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "qmstatic/tgvariant/TGVariant.h"
#include "support/KelTest.h"
#include "support/Rows.h"
#include "support/VarDataTest.h"

namespace {

namespace fs = std::filesystem;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::ImageOf;
using zo_kel_test::ToHex;

struct Result {
  int status = -1;  // the exit status, or -1 when the tool did not exit normally
  std::string out, err;
};

std::string ReadFile(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// This test process's own folder for the tool's files: ctest runs several test processes at
// once, and a fixed name would let one overwrite another's input.
const fs::path& ScratchDir() {
  static const fs::path dir = [] {
    std::string name = (fs::temp_directory_path() / "zo-kel-tool-test-XXXXXX").string();
    return fs::path(mkdtemp(name.data()));
  }();
  return dir;
}

// `words` as one shell command line, each word quoted.
std::string CommandLine(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& w : words)
    line += " '" + std::regex_replace(w, std::regex("'"), "'\\''") + "'";
  return line;
}

// A file holding text, for the inputs that do not come from standard input.
std::string Stored(const std::string& name, const std::string& text) {
  const fs::path p = ScratchDir() / name;
  std::ofstream(p, std::ios::binary) << text;
  return p.string();
}

// Runs the command `words` with `input` on standard input.
Result Spawn(const std::vector<std::string>& words, const std::string& input = "") {
  const fs::path out = ScratchDir() / "out", err = ScratchDir() / "err";
  const std::string line =
      CommandLine(words) + " <" + Stored("in", input) + " >" + out.string() + " 2>" + err.string();
  const int wait = std::system(line.c_str());
  return {WIFEXITED(wait) ? WEXITSTATUS(wait) : -1, ReadFile(out), ReadFile(err)};
}
// Runs the tool with `args`, leaving out empty ones (the compact form has no option).
Result Tool(std::vector<std::string> args, const std::string& input = "") {
  args.erase(std::remove(args.begin(), args.end(), ""), args.end());
  args.insert(args.begin(), ZO_KEL_TOOL_PATH);
  return Spawn(args, input);
}

// Images of kinds, qualifiers and payloads the samples lack, each in its form ("" for compact).
const std::pair<const char*, const char*> kKindImages[] = {
    {"--full", "01 00 00 00 01 00 00 00 00 00 00 80"},  // the slot travels in the full form
    {"", "00 00 00 00"},
    {"", "02 00 05 00 01"},
    {"",  // 0.1, -0, a NaN with a payload (bit array) and infinity
     "07 30 00 00 04 00 00 00 03 00 00 00 9A 99 99 99 99 99 B9 3F 03 00 00 00 00 00 00 00 00 00 "
     "00 80 03 00 08 00 01 00 00 00 00 00 F8 FF 03 00 00 00 00 00 00 00 00 00 F0 7F"},
    {"", "04 00 00 00 00 00 9C 58 4C 49 1F F2"},
    {"--full", "0D 00 00 00 78 56 34 12 9A BC DE F0"},
    {"", "05 10 00 00 04 00 00 00 61 FF 00 62"},
    {"", "06 10 00 00 02 00 00 00 00 D8 41 00"},
    {"", "0A 10 00 00 FF FF 01 00 02 00 00 00 01"},
    {"",
     "0C 10 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 00 40 01 00 00 00 "
     "05 10 00 00 01 00 00 00 61 07 30 00 00 00 00 00 00"},
    {"", "10 10 00 00 00 00 00 00 00 00 00 00 FF FF FF FF FF FF FF FF"},
    {"", "13 10 00 00 00 00 00 00"},
    {"--sized", "05 00 00 00 02 00 00 00 01 06 00 00 00 02 00 00 00 01 AA"},
};

// TG variant pairs (descriptor, data) of each code, and a piece of the tree decode shows of each.
const struct {
  const char *words, *data, *shown;
} kPairs[] = {
    {"00 04 00 00", "", "value: empty"},
    {"00 06 40 21 01 78", "01", "name: \"x\""},
    {"00 04 00 01", "FF", "value: numeric -1 (int8)"},
    {"00 04 00 09", "40 60 00 00", "value: numeric 3.5 (single)"},
    {"00 14 00 50 00 01 00 0E 40 0A 08 70 72 65 73 73 75 72 65 00", "40 0C 00 00 00 00 00 00",
     "  key: ansi \"pressure\" (8 bytes)\n            value: numeric 3.5\n"},
    {"00 12 00 40 00 01 FF FF FF FF 00 08 00 30 FF FF FF FF",
     "00 00 00 02 00 00 00 01 61 00 00 00 00", "  [1] ansi \"\" (0 bytes)"},
    {"00 04 00 54", "00 00 00 00 E3 73 8A 00 80 00 00 00 00 00 00 00",
     "absolute time 2024-12-02T16:00:00.5Z"},
    {"00 04 00 21", "07", "value: logical true"},  // a boolean byte the writer makes 01
    {"00 04 00 53", "00 04 00 00 00 00 00 01 00 00 00 01 6B 00 04 00 03 00 00 00 07 00 00 00 00",
     "dictionaries as variants"},
};

unsigned char Byte(unsigned v) { return static_cast<unsigned char>(v); }
std::string Str(const char* hex) {
  const Bytes b = Hex(hex);
  return std::string(b.begin(), b.end());
}
std::string HexOf(const std::string& bytes) { return ToHex(Bytes(bytes.begin(), bytes.end())); }

// What the library writes back of the value it reads at `cursor`, which moves past it.
std::string Rewritten(const unsigned char*& cursor, const unsigned char* limit, bool compact) {
  VarData read;
  read.deserializeImpl(cursor, limit, compact);
  return Str(ImageOf(read, compact).c_str());
}

// What the library writes back of what it reads from `image` in `form`; a record keeps the bytes
// that follow its value.
std::string LibraryImage(const std::string& form, const std::string& image) {
  const auto* p = reinterpret_cast<const unsigned char*>(image.data());
  const unsigned char* const end = p + image.size();
  if (form != "--sized") return Rewritten(p, end, form != "--full");
  std::string out;
  while (p != end) {
    const unsigned char* const next =
        p + 4 + static_cast<std::uint32_t>(p[0] | p[1] << 8 | p[2] << 16 | p[3] << 24);
    p += 4;
    std::string record = Rewritten(p, next, true);
    record.append(p, next);
    for (int i = 0; i < 4; ++i) out += static_cast<char>(record.size() >> 8 * i);
    out += record;
    p = next;
  }
  return out;
}

// What the library flattens back of what it reads from a pair, as `encode --hex` writes a pair.
std::string LibraryPair(const std::string& descriptor, const std::string& data, bool variants) {
  const auto mode = variants ? bry::kDictionaryAsVariant : bry::kDictionaryAsCluster;
  std::vector<unsigned short> words(descriptor.size() / 2);
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = static_cast<unsigned short>(static_cast<unsigned char>(descriptor[2 * i]) << 8 |
                                           static_cast<unsigned char>(descriptor[2 * i + 1]));
  const auto* d = reinterpret_cast<const unsigned char*>(data.data());
  zo::kel::AString name;
  const VarData v = bry::TGVariantToVarData(words.data(), words.data() + words.size(), d,
                                            d + data.size(), mode, name, false);
  std::uint32_t wordCount = 0, byteCount = 0;
  bry::VarDataToTGVariantLength(v, name, mode, wordCount, byteCount);
  std::vector<unsigned short> flat(wordCount);
  Bytes flatData(byteCount), flatWords;
  bry::VarDataToTGVariant(v, name, mode, flat.data(), flat.data() + flat.size(), flatData.data(),
                          flatData.data() + flatData.size());
  for (unsigned short w : flat) flatWords.insert(flatWords.end(), {Byte(w >> 8), Byte(w)});
  return ToHex(flatWords) + "\n" + ToHex(flatData) + "\n";
}

// Samples, images the library writes otherwise (keys out of order or repeated, trailing empty
// elements, an obsolete kind, an array above a megabyte) and noise, each also mutated or cut
// (fixed seed): what decodes comes back exactly through JSON, noted where (and from which byte)
// the library writes it otherwise; the rest is refused in one line, never a crash.
TEST(ZoKelTool, GeneratedVariantsComeBackExactlyOrNormalized) {
  struct Seed {
    std::string form, bytes;
    std::size_t mutable_;  // the bytes mutated: a prefix of the image
    int variants;          // how many readable variants to run
  };
  std::vector<Seed> seeds;
  // The samples of one image each, in the form their names give (TG variant pairs are two files,
  // tested on their own).
  for (const auto& e : fs::directory_iterator(ZO_KEL_SAMPLES_DIR)) {
    const std::string name = e.path().filename().string();
    const auto has = [&name](const char* part) { return name.find(part) != std::string::npos; };
    if (has(".tgd")) continue;
    const char* form = has(".full.") ? "--full" : has(".sized.") ? "--sized" : "";
    seeds.push_back({has(".packet.") ? "--flexdata" : form, ReadFile(e.path()), 0, 4});
  }
  ASSERT_GE(seeds.size(), 8u);
  for (const auto& [form, image] : kKindImages) seeds.push_back({form, Str(image), 0, 1});
  std::string large = Str("07 30 00 00 15 00 00 00");  // 21 elements
  for (const char* element : {"0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 62 01 00 00 00 "
                              "05 10 00 00 01 00 00 00 61 01 00 00 00",
                              "0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 61 02 00 00 00 01 "
                              "05 10 00 00 01 00 00 00 41 02 00 00 00 00",
                              "07 30 00 00 03 00 00 00 02 00 00 00 01 01 00 00 00 00 00 00 00",
                              "0E 10 00 00 01 00 00 00 02 00 00 00 01 00 00 00 AB CD"}) {
    seeds.push_back({"", Str(element), 0, 4});
    large += Str(element);
  }
  const std::size_t head = large.size();
  large += Str("09 10 00 00 00 00 10 00") + std::string(1 << 20, '\x5A');  // a megabyte raw
  for (int i = 0; i < 16; ++i) large += Str("01 00 00 00");  // empty elements the library drops
  seeds.push_back({"", large, head, 2});                     // each JSON of it is 3 MB
  const std::size_t readable = seeds.size();                 // the rest is noise
  std::mt19937 random(19);
  for (const char* form : {"", "--full", "--sized", "--flexdata"}) {
    std::string noise(1 + random() % 64, '\0');
    for (char& c : noise) c = static_cast<char>(random() % 4 == 0 ? random() : random() % 20);
    seeds.push_back({form, noise, 0, 4});
  }
  const auto mutate = [&random](std::string& bytes, std::size_t prefix) {
    if (bytes.empty()) return;
    const unsigned char kBytes[] = {0x00, 0x01, 0x02, 0x07, 0x40, 0x80, 0xFF};
    bytes[random() % (prefix != 0 ? prefix : bytes.size())] =
        static_cast<char>(random() % 2 ? kBytes[random() % sizeof kBytes] : random());
  };
  int differing = 0;
  for (std::size_t s = 0; s < seeds.size(); ++s) {
    const Seed& seed = seeds[s];
    for (int tries = 0, kept = 0; tries < 16 && kept < seed.variants; ++tries) {
      std::string bytes = seed.bytes;
      if (tries % 4 == 3 && seed.mutable_ == 0) {
        bytes.resize(random() % bytes.size());  // cut short
      } else if (tries != 0) {
        mutate(bytes, seed.mutable_);
      }
      const Result json = Tool({"decode", seed.form, "--json"}, bytes);
      SCOPED_TRACE(seed.form + " " + HexOf(bytes.substr(0, 200)));
      if (tries == 0 && s < readable) {  // the tree too, from binary and from hex
        EXPECT_EQ(json.status, 0) << json.err;
        const Result tree = Tool({"decode", seed.form}, bytes);
        EXPECT_EQ(tree.status, 0) << tree.err;
        EXPECT_EQ(Tool({"decode", seed.form, "--hex"}, HexOf(bytes)).out, tree.out);
      }
      if (json.status != 0) {  // refused in one line, with the byte where reading stopped
        EXPECT_EQ(json.status, 1);
        EXPECT_NE(json.err.find(" at byte "), std::string::npos) << json.err;
        continue;
      }
      ++kept;
      EXPECT_TRUE(Tool({"encode"}, json.out).out == bytes);
      if (seed.form == "--flexdata") continue;  // packets are shown and written as they are
      const std::string library = LibraryImage(seed.form, bytes);
      EXPECT_EQ(json.err.find("not in the normal form") != std::string::npos, library != bytes)
          << json.err;
      if (library == bytes) continue;
      ++differing;
      const auto from = std::mismatch(library.begin(), library.end(), bytes.begin()).first;
      if (seed.form != "--sized") {
        EXPECT_NE(json.err.find("from byte " + std::to_string(from - library.begin()) + " on"),
                  std::string::npos)
            << json.err;
      }
      EXPECT_TRUE(Tool({"encode", "--normalize"}, json.out).out == library);
    }
  }
  EXPECT_GE(differing, 15);
  // Pairs: the sample, each code, and a boolean byte the writer makes 01. Cut short anywhere, a
  // pair is refused with the word or byte where it stops.
  const std::string sample = std::string(ZO_KEL_SAMPLES_DIR) + "/reading.tgd";
  std::vector<std::pair<std::string, std::string>> pairs = {
      {ReadFile(sample + "esc.bin"), ReadFile(sample + "ata.bin")}};
  for (const auto& pair : kPairs) pairs.push_back({Str(pair.words), Str(pair.data)});
  int pairsDiffering = 0;
  for (const auto& [words, data] : pairs) {
    for (std::size_t n = 0; n < words.size() + data.size(); ++n) {
      const bool inWords = n < words.size();
      const Result r = Tool({"decode", "--tgvariant",
                             Stored("cut", words.substr(0, inWords ? n : words.size())), "-"},
                            inWords ? data : data.substr(0, n - words.size()));
      EXPECT_EQ(r.status, 1) << HexOf(words) << " / " << HexOf(data) << " cut at " << n;
      EXPECT_NE(r.err.find(" at byte "), std::string::npos) << r.err;
    }
    for (int tries = 0, kept = 0; tries < 30 && kept < 5; ++tries) {
      std::string w = words, d = data;
      if (tries != 0) mutate(tries % 2 ? d : w, 0);
      const Result json = Tool({"decode", "--tgvariant", "--json", Stored("words.bin", w), "-"}, d);
      EXPECT_TRUE(tries != 0 || json.status == 0) << json.err;
      if (json.status != 0) continue;
      ++kept;
      SCOPED_TRACE(HexOf(w) + " / " + HexOf(d));
      const std::string given = HexOf(w) + "\n" + HexOf(d) + "\n";
      EXPECT_EQ(Tool({"encode", "--hex"}, json.out).out, given);
      const std::string library =
          LibraryPair(w, d, json.out.find("\"dictionaries\":\"variant\"") != std::string::npos);
      const bool noted = json.err.find("not in the normal form") != std::string::npos;
      EXPECT_EQ(noted, library != given) << json.err;
      pairsDiffering += noted;
      if (noted) {
        EXPECT_EQ(Tool({"encode", "--hex", "--normalize"}, json.out).out, library);
      }
    }
  }
  // The sample pair written back to files.
  const Result json =
      Tool({"decode", "--tgvariant", "--json", sample + "esc.bin", sample + "ata.bin"});
  const std::string words = Stored("words.bin", ""), bytes = Stored("bytes.bin", "");
  EXPECT_EQ(Tool({"encode", "-o", words, "--data-output", bytes}, json.out).status, 0);
  EXPECT_EQ(ReadFile(words), ReadFile(sample + "esc.bin"));
  EXPECT_EQ(ReadFile(bytes), ReadFile(sample + "ata.bin"));
  EXPECT_GE(pairsDiffering, 1);
}

// What a command writes: its output, or one line on standard error naming the form, the failing
// element at its byte and the reason (status 1 for bad input, 2 for bad usage).
TEST(ZoKelTool, CommandsWriteWhatTheyReadOrOneLineWhy) {
  const std::string samples = std::string(ZO_KEL_SAMPLES_DIR) + "/";
  const char* past2038 = "0F 10 00 00 00 00 00 00 00 00 00 80 00 00 00 00 01 00 00 00";
  const char* three = "07 30 00 00 03 00 00 00 02 00 00 00 01 02 00 00 00 00 02 00 00 00 01";
  std::string deep;  // 300 arrays, each inside the one before
  for (int i = 0; i < 300; ++i) deep += "07 30 00 00 01 00 00 00 ";
  deep += "01 00 00 00";
  const struct {
    int status;
    std::string args;   // separated by commas; "@TEXT" is a file holding TEXT
    const char* input;  // standard input
    const char* shown;  // a piece of standard output (status 0) or of standard error; all of
                        // standard output when it ends a line
  } cases[] = {
      {0, "decode, --hex",
       "07 30 00 00 02 00 00 00 0A 10 00 00 01 00 02 00 05 10 00 00 02 00 00 00 68 69 03 00 03 00 "
       "00 00 00 00 00 00 1C 40",
       "compact value, 38 bytes\n"
       "       0  array, 2 elements\n"
       "       8    [0] cell, row 1, column 2\n"
       "      16      value: ansi \"hi\" (2 bytes)\n"
       "      26    [1] numeric 7 (int32)\n"},
      {0, "decode, --hex, --full",
       "07 30 00 00 02 00 00 00 0B 00 00 00 00 00 00 00 00 00 00 00 02 00 00 00 01",
       "full value, 25 bytes\n"
       "       0  array, 2 elements\n"
       "       8    [0] pulse\n"
       "      20    [1] logical true\n"},
      {0, "decode, --flexdata, " + samples + "cluster.packet.bin", "",
       "      10      attribute \"unit\"\n"
       "      28        AString \"bar\"\n"
       "      58    cluster of 3 members\n"
       "      58      member 0: Bool true\n"
       "      60      member 1: I32 -2"},
      {0, "decode, --hex",
       "07 30 00 00 03 00 00 00 0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 7A 02 00 00 00 09 "
       "05 10 00 00 01 00 00 00 61 01 00 00 00 02 00 00 00 01 01 00 00 00",
       "      25      value: logical true (byte 9)\n"
       "      30      key: ansi \"a\" (1 byte)\n"
       "      39      value: empty\n"
       "      43    [1] logical true"},
      {0, "decode, " + samples + "texts.compact.bin", "",
       "dictionaries as clusters\n              decodes to: logical true"},
      {0, "decode, --hex, --max-elements, 1", three,
       "compact value, 23 bytes\n"
       "       0  array, 3 elements\n"
       "       8    [0] logical true\n"
       "            ... and 2 more\n"},
      {0, "decode, --hex, --json, --max-elements, 1", three, "\"omitted\":2"},
      {0, "decode, --hex, --json", past2038,
       "\"time\":\"2040-02-06T06:28:16.5Z\",\"words\":[0,2147483648,0,1]"},
      {0, "decode, --hex", "0F 10 00 00 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF 7F",
       "absolute time +292277026530-12-04T15:30:07.999999999Z"},
      {0, "decode, --hex", "0F 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 80",
       "absolute time "},
      {0, "encode, --hex", "{\"kind\":\"abstime\",\"time\":\"2040-02-06T06:28:16.5Z\"}",
       "0F 10 00 00 00 00 00 00 00 00 00 80 00 00 00 00 01 00 00 00\n"},
      {0, "encode, --hex", "\"2040-02-06T06:28:16.5Z\"",
       "0F 10 00 00 00 00 00 00 00 00 00 80 00 00 00 00 01 00 00 00\n"},
      {0, "encode, --hex", "[true, null, \"hi\", {\"a\": 1.5}]",
       "07 30 00 00 04 00 00 00 02 00 00 00 01 01 00 00 00 05 10 00 00 02 00 00 00 68 69 0C 10 00 "
       "00 01 00 00 00 05 10 00 00 01 00 00 00 61 03 00 00 00 00 00 00 00 00 00 F8 3F\n"},
      {0, "encode, --hex", "{\"kind\":\"unicode\",\"text\":\"\\u00C5\\ud83d\\ude00\"}",
       "06 10 00 00 03 00 00 00 C5 00 3D D8 00 DE\n"},
      {0, "encode, --hex", "{\"kind\":\"time\",\"time\":\"1899-12-30T00:00:01Z\"}",
       "04 00 00 00 00 CA 9A 3B 00 00 00 00\n"},
      {0, "format, --as=0.00, --, -2", "", "-2.00\n"},
      {0, "format, 12/25/2024 10:30, --as, yyyy-mm-dd hh:mm", "", "2024-12-25 10:30\n"},
      {0, "format, 1.5", "", " 3  0.00                 1.50"},
      {0, "parse, 25/12/2024, --as, dd/mm/yyyy", "", "00:00:00.000, Wednesday, day 360 of 366"},
      {0, "parse, 1:30", "", "duration        0.0010416666666666667 days (90 s)"},
      {0, "parse, Yes", "", "logical         true"},
      {1, "decode, --hex", "07 30 00 00 02 00 00 00 01 00 00 00 05 00 00 00",
       "zo-kel decode: compact value: value.elements[1] at byte 12: unknown kind code 0x0005"},
      {1, "decode, --hex", "0A 10 00 00 01 00 02 00 0C 10 00 00 01 00 00 00 01 00 00 00",
       "value.value.entries[0].value at byte 20: the image ends inside its type word"},
      {1, "decode, --hex, --full", "01 00 00 00 00", "full value: value at byte 4: the image ends"},
      {1, "decode, --hex", "01 00 00 00 01", "the end of the value at byte 4: 1 byte follows it"},
      {1, "decode, --hex", "07 30 00 00 01 00 00 00 13 10 00 00 0A 00 00 00 00 03 07 00 00",
       "value.elements[0] at byte 8: packet: packet at byte 12: size 10 runs past the end"},
      {1, "decode, --hex, --sized", "05 00 00 00 02 00 00 00 01 05 00 00 00 05 00 00 00 01",
       "record 1 at byte 9: value at byte 13: unknown kind code 0x0005"},
      {1, "decode, --hex, --sized", "05 00 00 00 02 00 00 00 01 09 00",
       "record 1 at byte 9: the stream ends inside its size prefix"},
      {1, "decode, --hex, --sized", "09 00 00 00 02 00 00 00 01",
       "record 0 at byte 0: size 9 runs past the end"},
      {1, "decode, --hex", deep.c_str(), ".elements[0] at byte 2048: values nest deeper than 256"},
      {1, "decode, --hex", "02 0g", "hex input: 'g' at character 4 is not a hex digit"},
      {1, "decode, --hex, --flexdata", "10 00 00 00 01 08 02 00 06 00 00 00 00 03 07 00",
       "type element cluster at byte 4"},
      {1, "decode, --hex, --flexdata",
       "1C 00 00 00 01 08 02 00 06 00 00 00 00 03 06 00 00 00 00 09 07 00 00 00 05 00 00 00",
       "AString data at byte 24"},
      {1, "decode, --hex, --flexdata", "06 00 00 00 01 00 FF", "1 byte follows the packet"},
      {1, "encode", "{\"kind\": \"array\",\n \"elements\": [",
       "JSON input: line 2, column 15: syntax error"},
      {1, "encode", "{\"kind\": 1 2}", "JSON input: line 1, column 12: syntax error"},
      {1, "encode",
       "{\"kind\":\"array\",\"elements\":[{\"kind\":\"pulse\"},{\"kind\":\"numeric\"}]}",
       "value.elements[1]: missing member \"value\""},
      {1, "encode", "{\"form\":\"flexdata\",\"packet\":\"0A 00 00 00 00 03 07 00 00\"}",
       "packet: packet at byte 0: size 10 runs past the end"},
      {1, "encode", "{\"kind\":\"unicode\",\"units\":[65536]}",
       "value.units: expected a whole number"},
      {1, "encode", "{\"kind\":\"packet\",\"packet\":\"06 00 00 00 00 03\"}",
       "value.packet: I32 data at byte 6: packet ends inside the data"},
      {1, "decode, --tgvariant, --hex, @00 04 00, -", "",
       "TG variant descriptor: word 1 at byte 2: the input ends inside the word (1 of 2 bytes)"},
      {1, "decode, --tgvariant, --hex, @00 04 00 04, -", "",
       "TG variant pair: descriptor word 1 at byte 2: unknown type code 0x04"},
      {1, "decode, --tgvariant, --hex, @" + std::string(kPairs[4].words) + ", -", "40 0C 00",
       "data for descriptor word 3 at byte 0: the data ends inside a double (3 of 8 bytes)"},
      {1, "decode, --tgvariant, --hex, @00 12 00 50 00 02 00 06 40 21 01 6B 00 06 40 21 01 4B, -",
       "01 01", "TG variant pair: descriptor word 8 at byte 16: label \"K\" is given twice"},
      {1, "decode, --tgvariant, --hex, @00 04 00 53, -", "00 04 00 99 00 00 00 00",
       "data (word 1 of a variant's descriptor) at byte 2: unknown type code 0x99"},
      {1, "encode, --hex", "{\"form\":\"tgvariant\",\"value\":{\"kind\":\"pulse\"}}",
       "value: cannot be flattened into a TG variant pair"},
      {1, "format, abc, --as, 36", "", "\"abc\" is not a number, a duration or a date"},
      {1, "format, 1, --as, HH:MM:SSS", "", "unknown display format \"HH:MM:SSS\""},
      {1, "parse, 12/25/2024 x", "", "is not a number, duration, time of day, date"},
      {1, "decode, /nonexistent/image.bin", "", "cannot read /nonexistent/image.bin"},
      {1, "encode", "{\"kind\":\"time\",\"time\":\"2500-01-01T00:00:00Z\"}",
       "value.time: outside the 292 years"},
      {1, "encode",
       "{\"form\":\"compact\",\"value\":{\"kind\":\"array\",\"elements\":[],\"omitted\":2}}",
       "value: elements were left out when this JSON was written (--max-elements)"},
      {2, "now, --digits, 4", "", "--digits must be a number from 0 to 3"},
      {2, "decode, --bogus", "", "unknown option --bogus"},
      {2, "decode, a.bin, b.bin", "", "unexpected argument \"b.bin\""},
      {2, "decode, --tgvariant, a.bin", "", "--tgvariant reads two inputs"},
      {2, "format", "", "missing argument VALUE"},
      {2, "format, 1, --, 2", "", "unexpected argument \"2\""},
      {2, "format, 1, -2", "", "unexpected argument \"-2\""},  // a number, not an option
      {2, "format, 1, --as, 2, --as, 3", "", "--as"},
      {2, "frobnicate", "", "unknown command"},
      {2, "decode, --tgvariant, -, -", "", "cannot both come from standard input"},
      {2, "encode", "{\"form\":\"tgvariant\",\"value\":{\"kind\":\"empty\"}}",
       "give -o DESCRIPTOR --data-output DATA, or --hex"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args + " " + c.input);
    std::vector<std::string> args = zo_kel_test::Items(c.args, ',');
    for (std::string& a : args) a = a[0] == '@' ? Stored("file", a.substr(1)) : a;
    const Result r = Tool(args, c.input);
    EXPECT_EQ(r.status, c.status) << r.err;
    const std::string& text = c.status == 0 ? r.out : r.err;
    if (c.status == 0 && c.shown[std::strlen(c.shown) - 1] == '\n') {
      EXPECT_EQ(text, c.shown);
    } else {
      EXPECT_NE(text.find(c.shown), std::string::npos) << text;
    }
    if (c.status == 1) {
      EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
      EXPECT_LE(r.err.size(), 210u) << r.err;
      EXPECT_EQ(r.err.find("Error:"), std::string::npos) << r.err;
    }
  }
  // The tree of a pair of each code, the descriptor from a file and the data from standard input.
  for (const auto& pair : kPairs) {
    const Result r =
        Tool({"decode", "--tgvariant", "--hex", Stored("file", pair.words), "-"}, pair.data);
    EXPECT_EQ(r.status, 0) << pair.words << " " << r.err;
    EXPECT_NE(r.out.find(pair.shown), std::string::npos) << pair.words << "\n" << r.out;
  }
  // Every display format, one line each; a negative value needs no "--".
  const std::string every = Tool({"format", "-1.5"}).out;
  EXPECT_EQ(std::count(every.begin(), every.end(), '\n'), 74);

  EXPECT_TRUE(std::regex_match(Tool({"now", "--utc", "--digits", "2"}).out,
                               std::regex(R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d\.\d\d\n)")));
  EXPECT_TRUE(std::regex_match(
      Tool({"--version"}).out,
      std::regex(R"(zo-kel [\d.]+ \(zo_kel_basics [\d.]+, built with headers [\d.]+\)\n)")));
  for (const char* command : {"decode", "encode", "format", "parse", "now"}) {
    for (const char* help : {"--help", "-h"}) {
      const Result r = Tool({command, help});
      EXPECT_EQ(r.status, 0);
      EXPECT_EQ(r.out.rfind(std::string("usage: zo-kel ") + command, 0), 0u) << r.out;
      EXPECT_NE(r.out.find("Exit status: 0 done"), std::string::npos) << r.out;
    }
  }
}

// The JSON of every sample follows the schema installed with the tool (checked by Debian's
// python3-jsonschema), and the schema refuses what encode refuses.
TEST(ZoKelTool, SamplesFollowTheJsonSchema) {
  const fs::path here = fs::path(__FILE__).parent_path();
  const Result r = Spawn({"python3", (here / "check_json_schema.py").string(),
                          (here / "../../tools/zo-kel/share/zo-kel-value.schema.json").string(),
                          ZO_KEL_TOOL_PATH, ZO_KEL_SAMPLES_DIR});
  EXPECT_EQ(r.status, 0) << r.out << r.err;
}

// Records are shown as they arrive: the first one is out while the input is still open.
TEST(ZoKelTool, SizedRecordsStreamBeforeTheInputEnds) {
  const fs::path out = ScratchDir() / "stream";
  FILE* in = popen(
      (CommandLine({ZO_KEL_TOOL_PATH, "decode", "--sized"}) + " >" + out.string()).c_str(), "w");
  ASSERT_NE(in, nullptr);
  const char record[] = {0x05, 0, 0, 0, 0x02, 0, 0, 0, 0x01};
  fwrite(record, 1, sizeof record, in);
  fflush(in);
  // The wait is only an upper bound.
  std::string seen;
  for (int i = 0; i < 1000 && seen.find("logical true\n") == std::string::npos; ++i) {
    usleep(10000);
    seen = ReadFile(out);
  }
  EXPECT_NE(seen.find("       0  record 0, 5 bytes\n       4    logical true\n"), std::string::npos)
      << seen;
  fwrite(record, 1, sizeof record, in);
  EXPECT_EQ(pclose(in), 0);
  EXPECT_NE(ReadFile(out).find("2 records, 18 bytes\n"), std::string::npos);
}

}  // namespace
