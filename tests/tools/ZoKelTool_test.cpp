// zo-kel driven as a process: the samples decode and come back byte for byte through JSON, every
// kind survives the JSON form, errors give status 2 with the form and offset, and damaged input
// never crashes the tool.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "kel/AutoBuffer.h"
#include "qmstatic/tgvariant/TGVariant.h"
#include "qmstatic/vardata/VarData.h"
#include "support/KelTest.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
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

// Runs zo-kel with `input` on standard input.
Result Tool(const std::vector<std::string>& args, const std::string& input = "") {
  const fs::path& dir = ScratchDir();
  const fs::path in = dir / "in", out = dir / "out", err = dir / "err";
  std::ofstream(in, std::ios::binary) << input;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 0, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<std::string> words = {ZO_KEL_TOOL_PATH};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  Result r;
  pid_t pid = 0;
  int wait = 0;
  if (posix_spawn(&pid, ZO_KEL_TOOL_PATH, &files, nullptr, argv.data(), environ) == 0 &&
      waitpid(pid, &wait, 0) == pid && WIFEXITED(wait)) {
    r.status = WEXITSTATUS(wait);
  }
  posix_spawn_file_actions_destroy(&files);
  r.out = ReadFile(out);
  r.err = ReadFile(err);
  return r;
}

// The decode option of a sample file: its name says its form.
std::string FormOf(const fs::path& p) {
  const std::string name = p.filename().string();
  if (name.find(".full.") != std::string::npos) return "--full";
  if (name.find(".sized.") != std::string::npos) return "--sized";
  if (name.find(".packet.") != std::string::npos) return "--flexdata";
  return "--compact-default";
}

std::vector<std::string> DecodeArgs(const std::string& form, std::vector<std::string> more) {
  if (form != "--compact-default") more.insert(more.begin(), form);
  more.insert(more.begin(), "decode");
  return more;
}

// True when text has the shape of `shape`, where '9' stands for any digit.
bool HasShape(const std::string& text, const std::string& shape) {
  if (text.size() != shape.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (shape[i] == '9' ? !digit : text[i] != shape[i]) return false;
  }
  return true;
}

// The samples of one image each (TG variant pairs are two files, tested on their own).
std::vector<fs::path> Samples() {
  std::vector<fs::path> files;
  for (const auto& e : fs::directory_iterator(ZO_KEL_SAMPLES_DIR)) {
    if (e.path().string().find(".tgd") == std::string::npos) files.push_back(e.path());
  }
  return files;
}

// A file holding text, for the inputs that do not come from standard input.
std::string Stored(const std::string& name, const std::string& text) {
  const fs::path p = ScratchDir() / name;
  std::ofstream(p, std::ios::binary) << text;
  return p.string();
}

TEST(ZoKelTool, EverySampleDecodesFromBinaryAndHex) {
  const std::vector<fs::path> samples = Samples();
  ASSERT_GE(samples.size(), 8u);
  for (const fs::path& p : samples) {
    SCOPED_TRACE(p.filename().string());
    const std::string form = FormOf(p), bytes = ReadFile(p);
    const Result tree = Tool(DecodeArgs(form, {p.string()}));
    EXPECT_EQ(tree.status, 0) << tree.err;
    EXPECT_EQ(Tool(DecodeArgs(form, {"--hex"}), ToHex(Bytes(bytes.begin(), bytes.end()))).out,
              tree.out);
  }
}

TEST(ZoKelTool, TreeShowsEveryElementAtItsOffset) {
  EXPECT_EQ(Tool({"decode", "--hex"},
                 "07 30 00 00 02 00 00 00 0A 10 00 00 01 00 02 00 05 10 00 00 02 00 00 00 "
                 "68 69 03 00 03 00 00 00 00 00 00 00 1C 40")
                .out,
            "compact value, 38 bytes\n"
            "       0  array, 2 elements\n"
            "       8    [0] cell, row 1, column 2\n"
            "      16      value: ansi \"hi\" (2 bytes)\n"
            "      26    [1] numeric 7 (int32)\n");
  EXPECT_EQ(Tool({"decode", "--hex", "--full"},
                 "07 30 00 00 02 00 00 00 0B 00 00 00 "
                 "00 00 00 00 00 00 00 00 02 00 00 00 01")
                .out,
            "full value, 25 bytes\n"
            "       0  array, 2 elements\n"
            "       8    [0] pulse\n"
            "      20    [1] logical true\n");
  const std::string packet =
      Tool({"decode", "--flexdata", std::string(ZO_KEL_SAMPLES_DIR) + "/cluster.packet.bin"}).out;
  EXPECT_NE(packet.find("      10      attribute \"unit\"\n"
                        "      28        AString \"bar\"\n"
                        "      58    cluster of 3 members\n"
                        "      58      member 0: Bool true\n"
                        "      60      member 1: I32 -2\n"),
            std::string::npos)
      << packet;
}

// The JSON of a hex image in the form given ("" for compact, "--full", "--sized").
Result HexToJson(const char* form, const char* image) {
  std::vector<std::string> decode = {"decode", "--hex", "--json"};
  if (*form != '\0') decode.push_back(form);
  return Tool(decode, image);
}

TEST(ZoKelTool, JsonKeepsEveryKindQualifierAndPayload) {
  struct Case {
    const char* form;
    const char* image;
  };
  const Case cases[] = {
      {"", "01 00 00 00"},
      {"--full", "01 00 00 00 01 00 00 00 00 00 00 80"},  // the slot travels in the full form
      {"--full", "08 00 00 00 FF 00 00 00 00 00 00 00"},
      {"--full", "0B 00 00 00 00 00 00 00 00 00 00 00"},
      {"", "00 00 00 00"},
      {"", "02 00 05 00 01"},
      {"", "03 00 03 00 00 00 00 00 00 00 1C 40"},
      {"", "03 00 00 00 9A 99 99 99 99 99 B9 3F"},
      {"", "03 00 00 00 00 00 00 00 00 00 00 80"},
      {"", "03 00 08 00 01 00 00 00 00 00 F8 FF"},
      {"", "03 00 00 00 00 00 00 00 00 00 F0 7F"},
      {"", "04 00 00 00 00 00 9C 58 4C 49 1F F2"},
      {"", "0D 00 00 00 78 56 34 12"},
      {"--full", "0D 00 00 00 78 56 34 12 9A BC DE F0"},
      {"", "11 00 00 00 EF CD AB 89 67 45 23 01"},
      {"", "05 10 00 00 04 00 00 00 61 FF 00 62"},
      {"", "05 10 00 00 00 00 00 00"},
      {"", "06 10 00 00 02 00 00 00 00 D8 41 00"},
      {"", "09 10 00 00 02 00 00 00 00 FF"},
      {"", "0A 10 00 00 FF FF 01 00 02 00 00 00 01"},
      {"",
       "0C 10 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 00 40 01 00 00 00 "
       "05 10 00 00 01 00 00 00 61 07 30 00 00 00 00 00 00"},
      {"", "07 30 00 00 02 00 00 00 01 00 00 00 0B 00 00 00"},
      {"", "07 30 00 00 01 00 00 00 01 00 00 00"},
      {"", "0F 10 00 00 01 00 00 00 00 00 00 80 F1 11 64 E3 00 00 00 00"},
      {"", "10 10 00 00 00 00 00 00 00 00 00 00 FF FF FF FF FF FF FF FF"},
      {"", "12 10 00 00 02 00 00 00 04 00 21 00 01 00 00 00 01"},
      {"", "13 10 00 00 00 00 00 00"},
      {"", "07 30 00 00 01 00 00 00 13 10 00 00 0A 00 00 00 00 03 07 00 00 00"},
      {"--sized", "05 00 00 00 02 00 00 00 01 06 00 00 00 02 00 00 00 01 AA"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.image);
    const Result json = HexToJson(c.form, c.image);
    ASSERT_EQ(json.status, 0) << json.err;
    const Result encoded = Tool({"encode", "--hex"}, json.out);
    EXPECT_EQ(encoded.status, 0) << encoded.err;
    EXPECT_EQ(ToHex(Hex(encoded.out)), ToHex(Hex(c.image)));
  }
}

unsigned char Byte(unsigned v) { return static_cast<unsigned char>(v); }
std::string Str(const char* hex) {
  const Bytes b = Hex(hex);
  return std::string(b.begin(), b.end());
}
std::string HexOf(const std::string& bytes) { return ToHex(Bytes(bytes.begin(), bytes.end())); }

// What the library writes back of what it reads from `image` in `form`; a record keeps the bytes
// that follow its value.
std::string LibraryImage(const std::string& form, const std::string& image) {
  const auto* p = reinterpret_cast<const unsigned char*>(image.data());
  const unsigned char* const end = p + image.size();
  std::string out;
  const auto value = [&out](const unsigned char* cursor, const unsigned char* limit, bool compact) {
    VarData read;
    read.deserializeImpl(cursor, limit, compact);
    zo::kel::AutoBuffer buffer;
    read.SerializeWithoutSize(buffer, compact);
    out.append(reinterpret_cast<const char*>(buffer.Data()), buffer.Len());
    return cursor;
  };
  if (form != "--sized") {
    value(p, end, form != "--full");
    return out;
  }
  for (const unsigned char* record = p; record != end;) {
    const std::uint32_t size =
        static_cast<std::uint32_t>(record[0] | record[1] << 8 | record[2] << 16 | record[3] << 24);
    const std::size_t at = out.size();
    out.append(4, '\0');
    const unsigned char* const next = record + 4 + size;
    out.append(value(record + 4, next, true), next);
    const auto n = static_cast<std::uint32_t>(out.size() - at - 4);
    for (std::size_t i = 0; i < 4; ++i) out[at + i] = static_cast<char>(n >> 8 * i);
    record = next;
  }
  return out;
}

// What the library flattens back of what it reads from a pair, as `encode --hex` writes a pair.
std::string LibraryPair(const std::string& descriptor, const std::string& data, bool variants) {
  const bry::DictionaryConversion mode =
      variants ? bry::kDictionaryAsVariant : bry::kDictionaryAsCluster;
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

// Every sample, images the library keeps in another form (keys out of order or repeated, trailing
// empty elements, an obsolete kind, an array above a megabyte) and noise, as they are, with one
// byte set to another value or cut short (fixed seed). What decodes comes back exactly through
// JSON; decode notes whether, and from which byte, the library writes it otherwise, and encode
// --normalize writes what the library writes. The rest is refused in one line, never a crash.
TEST(ZoKelTool, GeneratedVariantsComeBackExactlyOrNormalized) {
  struct Seed {
    std::string form, bytes;
    std::size_t mutable_;  // the bytes mutated: a prefix of the image
  };
  std::vector<Seed> seeds;
  for (const fs::path& p : Samples()) seeds.push_back({FormOf(p), ReadFile(p), 0});
  std::string large = Str("07 30 00 00 15 00 00 00");  // 21 elements
  for (const char* element : {"0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 62 01 00 00 00 "
                              "05 10 00 00 01 00 00 00 61 01 00 00 00",
                              "0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 61 02 00 00 00 01 "
                              "05 10 00 00 01 00 00 00 41 02 00 00 00 00",
                              "07 30 00 00 03 00 00 00 02 00 00 00 01 01 00 00 00 00 00 00 00",
                              "0E 10 00 00 01 00 00 00 02 00 00 00 01 00 00 00 AB CD"}) {
    seeds.push_back({"--compact-default", Str(element), 0});
    large += Str(element);
  }
  const std::size_t head = large.size();
  large += Str("09 10 00 00 00 00 10 00") + std::string(1 << 20, '\x5A');  // a megabyte raw
  for (int i = 0; i < 16; ++i) large += Str("01 00 00 00");  // empty elements the library drops
  seeds.push_back({"--compact-default", large, head});
  const std::size_t readable = seeds.size();  // the rest is noise
  std::mt19937 random(19);
  for (const char* form : {"--compact-default", "--full", "--sized", "--flexdata"}) {
    std::string noise(1 + random() % 64, '\0');
    for (char& c : noise) c = static_cast<char>(random() % 4 == 0 ? random() : random() % 20);
    seeds.push_back({form, noise, 0});
  }
  const auto mutate = [&random](std::string& bytes, std::size_t prefix) {
    const unsigned char kBytes[] = {0x00, 0x01, 0x02, 0x07, 0x40, 0x80, 0xFF};
    bytes[random() % (prefix != 0 ? prefix : bytes.size())] =
        static_cast<char>(random() % 2 ? kBytes[random() % sizeof kBytes] : random());
  };
  int differing = 0;
  for (std::size_t s = 0; s < seeds.size(); ++s) {
    const Seed& seed = seeds[s];
    // Fewer of the large image: each of its JSON documents is 3 MB.
    for (int tries = 0, kept = 0; tries < 16 && kept < (seed.mutable_ != 0 ? 2 : 4); ++tries) {
      std::string bytes = seed.bytes;
      if (tries % 4 == 3 && seed.mutable_ == 0) {
        bytes.resize(random() % bytes.size());  // cut short
      } else if (tries != 0) {
        mutate(bytes, seed.mutable_);
      }
      const Result json = Tool(DecodeArgs(seed.form, {"--json"}), bytes);
      SCOPED_TRACE(seed.form + " " + HexOf(bytes.substr(0, 200)));
      EXPECT_TRUE(tries != 0 || s >= readable || json.status == 0) << json.err;
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
  // Pairs: the sample, and a boolean byte the writer makes 01.
  const std::string sample = std::string(ZO_KEL_SAMPLES_DIR) + "/reading.tgd";
  const std::pair<std::string, std::string> pairs[] = {
      {ReadFile(sample + "esc.bin"), ReadFile(sample + "ata.bin")},
      {Str("00 06 40 21 01 78"), "\x07"}};
  int pairsDiffering = 0;
  for (const auto& [words, data] : pairs) {
    for (int tries = 0, kept = 0; tries < 30 && kept < 5; ++tries) {
      std::string w = words, d = data;
      if (tries != 0) mutate(tries % 2 ? d : w, 0);
      const Result json = Tool({"decode", "--tgvariant", "--json", Stored("words.bin", w), "-"}, d);
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
  EXPECT_GE(pairsDiffering, 1);
}

// Offsets are those of the input as read, also where the library would write other bytes.
TEST(ZoKelTool, OffsetsOfANonNormalImageAreThoseOfTheInput) {
  EXPECT_EQ(Tool({"decode", "--hex"},
                 "07 30 00 00 03 00 00 00 0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 7A 02 "
                 "00 00 00 09 05 10 00 00 01 00 00 00 61 01 00 00 00 02 00 00 00 01 01 00 00 00")
                .out,
            "compact value, 52 bytes\n"
            "       0  array, 3 elements\n"
            "       8    [0] dictionary, 2 entries\n"
            "      16      key: ansi \"z\" (1 byte)\n"
            "      25      value: logical true (byte 9)\n"
            "      30      key: ansi \"a\" (1 byte)\n"
            "      39      value: empty\n"
            "      43    [1] logical true\n"
            "      48    [2] empty\n");
}

// One line on standard error: the form, the failing element at its byte, the reason; status 1
// for bad input and 2 for bad usage.
TEST(ZoKelTool, ErrorsNameTheFormTheElementAndItsByte) {
  struct Case {
    std::vector<std::string> args;
    const char* input;
    const char* message;
  };
  const std::string deep = [] {
    std::string image;
    for (int i = 0; i < 300; ++i) image += "07 30 00 00 01 00 00 00 ";
    return image + "01 00 00 00";
  }();
  const Case cases[] = {
      {{"decode", "--hex"},
       "07 30 00 00 02 00 00 00 01 00 00 00 05 00 00 00",
       "zo-kel decode: compact value: value.elements[1] at byte 12: unknown kind code 0x0005"},
      {{"decode", "--hex"},
       "0A 10 00 00 01 00 02 00 0C 10 00 00 01 00 00 00 01 00 00 00",
       "value.value.entries[0].value at byte 20: the image ends inside its type word"},
      {{"decode", "--hex", "--full"},
       "01 00 00 00 00",
       "full value: value at byte 4: the image ends"},
      {{"decode", "--hex"}, "01 00 00 00 01", "the end of the value at byte 4: 1 byte follows it"},
      {{"decode", "--hex"},
       "07 30 00 00 01 00 00 00 13 10 00 00 0A 00 00 00 00 03 07 00 00",
       "value.elements[0] at byte 8: packet: packet at byte 12: size 10 runs past the end"},
      {{"decode", "--hex", "--sized"},
       "05 00 00 00 02 00 00 00 01 05 00 00 00 05 00 00 00 01",
       "record 1 at byte 9: value at byte 13: unknown kind code 0x0005"},
      {{"decode", "--hex", "--sized"},
       "05 00 00 00 02 00 00 00 01 09 00",
       "record 1 at byte 9: the stream ends inside its size prefix"},
      {{"decode", "--hex", "--sized"},
       "09 00 00 00 02 00 00 00 01",
       "record 0 at byte 0: size 9 runs past the end"},
      {{"decode", "--hex"}, deep.c_str(), ".elements[0] at byte 2048: values nest deeper than 256"},
      {{"decode", "--hex"}, "02 0g", "hex input: 'g' at character 4 is not a hex digit"},
      {{"decode", "--hex", "--flexdata"},
       "10 00 00 00 01 08 02 00 06 00 00 00 00 03 07 00",
       "type element cluster at byte 4"},
      {{"decode", "--hex", "--flexdata"},
       "1C 00 00 00 01 08 02 00 06 00 00 00 00 03 06 00 00 00 00 09 07 00 00 00 05 00 00 00",
       "AString data at byte 24"},
      {{"decode", "--hex", "--flexdata"}, "06 00 00 00 01 00 FF", "1 byte follows the packet"},
      {{"encode"},
       "{\"kind\": \"array\",\n \"elements\": [",
       "JSON input: line 2, column 15: syntax error"},
      {{"encode"}, "{\"kind\": 1 2}", "JSON input: line 1, column 12: syntax error"},
      {{"encode"},
       "{\"kind\":\"array\",\"elements\":[{\"kind\":\"pulse\"},{\"kind\":\"numeric\"}]}",
       "value.elements[1]: missing member \"value\""},
      {{"encode"},
       "{\"form\":\"flexdata\",\"packet\":\"0A 00 00 00 00 03 07 00 00\"}",
       "packet: packet at byte 0: size 10 runs past the end"},
      {{"encode"},
       "{\"kind\":\"unicode\",\"units\":[65536]}",
       "value.units: expected a whole number"},
      {{"encode"},
       "{\"kind\":\"packet\",\"packet\":\"06 00 00 00 00 03\"}",
       "value.packet: I32 data at byte 6: packet ends inside the data"},
      {{"decode", "--tgvariant", "--hex", Stored("odd", "00 04 00"), "-"},
       "",
       "TG variant descriptor: word 1 at byte 2: the input ends inside the word (1 of 2 bytes)"},
      {{"decode", "--tgvariant", "--hex", Stored("code", "00 04 00 04"), "-"},
       "",
       "TG variant pair: descriptor word 1 at byte 2: unknown type code 0x04"},
      {{"decode", "--tgvariant", "--hex",
        Stored("double", "00 14 00 50 00 01 00 0E 40 0A 08 70 72 65 73 73 75 72 65 00"), "-"},
       "40 0C 00",
       "TG variant pair: data for descriptor word 3 at byte 0: the data ends inside a double (3 of "
       "8 bytes)"},
      {{"decode", "--tgvariant", "--hex",
        Stored("twice", "00 12 00 50 00 02 00 06 40 21 01 6B 00 06 40 21 01 4B"), "-"},
       "01 01",
       "TG variant pair: descriptor word 8 at byte 16: label \"K\" is given twice"},
      {{"decode", "--tgvariant", "--hex", Stored("variant", "00 04 00 53"), "-"},
       "00 04 00 99 00 00 00 00",
       "TG variant pair: data (word 1 of a variant's descriptor) at byte 2: unknown type code "
       "0x99"},
      {{"encode", "--hex"},
       "{\"form\":\"tgvariant\",\"value\":{\"kind\":\"pulse\"}}",
       "value: cannot be flattened into a TG variant pair"},
      {{"format", "abc", "--as", "36"}, "", "\"abc\" is not a number, a duration or a date"},
      {{"format", "1", "--as", "HH:MM:SSS"}, "", "unknown display format \"HH:MM:SSS\""},
      {{"parse", "12/25/2024 x"}, "", "is not a number, duration, time of day, date"},
      {{"decode", "/nonexistent/image.bin"}, "", "cannot read /nonexistent/image.bin"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    const Result r = Tool(c.args, c.input);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_LE(r.err.size(), 210u) << r.err;
    EXPECT_EQ(r.err.find("Error:"), std::string::npos) << r.err;
  }
  const Case usage[] = {
      {{"now", "--digits", "4"}, "", "--digits must be a number from 0 to 3"},
      {{"decode", "--bogus"}, "", "unknown option --bogus"},
      {{"decode", "a.bin", "b.bin"}, "", "unexpected argument \"b.bin\""},
      {{"decode", "--tgvariant", "a.bin"}, "", "--tgvariant reads two inputs"},
      {{"format"}, "", "missing argument VALUE"},
      {{"format", "1", "--", "2"}, "", "unexpected argument \"2\""},
      {{"format", "1", "--as", "2", "--as", "3"}, "", "--as"},
      {{"frobnicate"}, "", "unknown command"},
      {{"decode", "--tgvariant", "-", "-"}, "", "cannot both come from standard input"},
      {{"encode"},
       "{\"form\":\"tgvariant\",\"value\":{\"kind\":\"empty\"}}",
       "give -o DESCRIPTOR --data-output DATA, or --hex"},
  };
  for (const Case& c : usage) {
    SCOPED_TRACE(c.message);
    const Result r = Tool(c.args, c.input);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
  }
}

// A pair decodes from its descriptor (a file here) and its data (standard input), and its JSON
// flattens back to the same words and bytes; cut short anywhere, it is refused cleanly.
TEST(ZoKelTool, TGVariantPairsDecodeAndFlattenBack) {
  struct Case {
    const char* descriptor;
    const char* data;
    const char* shown;
  };
  const Case cases[] = {
      {"00 04 00 00", "", "value: empty"},
      {"00 06 40 21 01 78", "01", "name: \"x\""},
      {"00 04 00 01", "FF", "value: numeric -1 (int8)"},
      {"00 04 00 09", "40 60 00 00", "value: numeric 3.5 (single)"},
      {"00 14 00 50 00 01 00 0E 40 0A 08 70 72 65 73 73 75 72 65 00", "40 0C 00 00 00 00 00 00",
       "  key: ansi \"pressure\" (8 bytes)\n"
       "            value: numeric 3.5\n"},
      {"00 12 00 40 00 01 FF FF FF FF 00 08 00 30 FF FF FF FF",
       "00 00 00 02 00 00 00 01 61 00 00 00 00", "  [1] ansi \"\" (0 bytes)"},
      {"00 04 00 54", "00 00 00 00 E3 73 8A 00 80 00 00 00 00 00 00 00",
       "absolute time 2024-12-02T16:00:00.5Z"},
      {"00 04 00 21", "07", "value: logical true"},  // a boolean byte the writer would make 01
      {"00 04 00 53", "00 04 00 00 00 00 00 01 00 00 00 01 6B 00 04 00 03 00 00 00 07 00 00 00 00",
       "dictionaries as variants"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.descriptor);
    const std::string descriptor = Stored("descriptor", c.descriptor);
    const Result tree = Tool({"decode", "--tgvariant", "--hex", descriptor, "-"}, c.data);
    ASSERT_EQ(tree.status, 0) << tree.err;
    EXPECT_NE(tree.out.find(c.shown), std::string::npos) << tree.out;
    const Result json = Tool({"decode", "--tgvariant", "--hex", "--json", descriptor, "-"}, c.data);
    EXPECT_EQ(Tool({"encode", "--hex"}, json.out).out,
              ToHex(Hex(c.descriptor)) + "\n" + ToHex(Hex(c.data)) + "\n");
    // Cut short, the pair is refused with the word or byte where it stops.
    const auto refused = [](const std::string& words, const std::string& data) {
      const Result r = Tool({"decode", "--tgvariant", "--hex", Stored("cut", words), "-"}, data);
      EXPECT_EQ(r.status, 1);
      EXPECT_NE(r.err.find(" at byte "), std::string::npos) << r.err;
    };
    const std::string words = ToHex(Hex(c.descriptor)), data = ToHex(Hex(c.data));
    for (std::size_t n = 0; n < words.size(); n += 3) refused(words.substr(0, n), data);
    for (std::size_t n = 0; n + 3 <= data.size(); n += 3) refused(words, data.substr(0, n));
  }
  // The sample pair, in binary: the file pair comes back through JSON byte for byte.
  const std::string sample = std::string(ZO_KEL_SAMPLES_DIR) + "/reading.tgd";
  const Result json =
      Tool({"decode", "--tgvariant", "--json", sample + "esc.bin", sample + "ata.bin"});
  ASSERT_EQ(json.status, 0) << json.err;
  const std::string words = Stored("words.bin", ""), bytes = Stored("bytes.bin", "");
  EXPECT_EQ(Tool({"encode", "-o", words, "--data-output", bytes}, json.out).status, 0);
  EXPECT_EQ(ReadFile(words), ReadFile(sample + "esc.bin"));
  EXPECT_EQ(ReadFile(bytes), ReadFile(sample + "ata.bin"));
}

TEST(ZoKelTool, FormatParseNowAndHelp) {
  EXPECT_EQ(Tool({"format", "0.0625", "--as", "HH:MM:SS"}).out, "01:30:00\n");
  EXPECT_EQ(Tool({"format", "255", "--as", "0x0000"}).out, "0x00FF\n");
  EXPECT_EQ(Tool({"format", "2.5", "--as", "35"}).out, "60:00\n");
  EXPECT_EQ(Tool({"format", "-1", "--as=57"}).out, "0xFFFFFFFF\n");
  EXPECT_EQ(Tool({"format", "--as", "0.00", "--", "-2"}).out, "-2.00\n");
  EXPECT_EQ(Tool({"format", "12/25/2024 10:30", "--as", "yyyy-mm-dd hh:mm"}).out,
            "2024-12-25 10:30\n");
  const Result overflow = Tool({"format", "3e9", "--as", "HH:MM:SS"});
  EXPECT_EQ(overflow.status, 0);
  EXPECT_EQ(overflow.out, "***************\n");
  const std::string every = Tool({"format", "1.5"}).out;
  EXPECT_EQ(std::count(every.begin(), every.end(), '\n'), 74);
  EXPECT_NE(every.find(" 3  0.00                 1.50\n"), std::string::npos) << every;

  const std::string date = Tool({"parse", "12/25/2024 10:30"}).out;
  EXPECT_NE(date.find("2024-12-25 10:30:00.000, Wednesday, day 360 of 366"), std::string::npos)
      << date;
  EXPECT_NE(Tool({"parse", "25/12/2024", "--as", "dd/mm/yyyy"}).out.find("2024-12-25 00:00"),
            std::string::npos);
  EXPECT_NE(Tool({"parse", "1:30"}).out.find("duration        0.0010416666666666667 days (90 s)"),
            std::string::npos);
  EXPECT_NE(Tool({"parse", "Yes"}).out.find("logical         true"), std::string::npos);

  const Result now = Tool({"now", "--utc", "--digits", "2"});
  EXPECT_EQ(now.status, 0);
  EXPECT_TRUE(HasShape(now.out, "99/99/99 99:99:99.99\n")) << now.out;

  for (const char* command : {"decode", "encode", "format", "parse", "now"}) {
    for (const char* help : {"--help", "-h"}) {
      const Result r = Tool({command, help});
      EXPECT_EQ(r.status, 0);
      EXPECT_EQ(r.out.rfind(std::string("usage: zo-kel ") + command, 0), 0u) << r.out;
      EXPECT_NE(r.out.find("Exit status: 0 done"), std::string::npos) << r.out;
    }
  }
  const Result version = Tool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(
      HasShape(version.out, "zo-kel 9.9.9 (zo_kel_basics 9.9.9, built with headers 9.9.9)\n"))
      << version.out;
}

// The JSON of every sample follows the schema installed with the tool (checked by Debian's
// python3-jsonschema), and the schema refuses what encode refuses.
TEST(ZoKelTool, SamplesFollowTheJsonSchema) {
  const fs::path here = fs::path(__FILE__).parent_path();
  std::vector<std::string> words = {
      "python3", (here / "check_json_schema.py").string(),
      (here / "../../tools/zo-kel/share/zo-kel-value.schema.json").string(), ZO_KEL_TOOL_PATH,
      ZO_KEL_SAMPLES_DIR};
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  int status = 0;
  ASSERT_EQ(posix_spawnp(&pid, "python3", nullptr, nullptr, argv.data(), environ), 0);
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// A TG cluster held in a value decodes in the tree; its JSON keeps the words and bytes.
TEST(ZoKelTool, EmbeddedTGClusterDecodes) {
  const char* image =
      "12 10 00 00 0A 00 00 00 14 00 50 00 01 00 0E 00 0A 40 70 08 65 72 73 73 72 75 00 65 "
      "08 00 00 00 40 0C 00 00 00 00 00 00";
  const Result tree = Tool({"decode", "--hex"}, image);
  ASSERT_EQ(tree.status, 0) << tree.err;
  EXPECT_NE(tree.out.find("            decodes to: dictionary, 1 entry\n"
                          "              key: ansi \"pressure\" (8 bytes)\n"
                          "              value: numeric 3.5\n"),
            std::string::npos)
      << tree.out;
  EXPECT_EQ(
      ToHex(Hex(Tool({"encode", "--hex"}, Tool({"decode", "--hex", "--json"}, image).out).out)),
      ToHex(Hex(image)));
}

// Times show as ISO 8601 UTC from their 128-bit value, past 2038 too, beside the exact words;
// plain JSON takes the obvious kind.
TEST(ZoKelTool, TimesPast2038AndFriendlyJson) {
  const char* past2038 = "0F 10 00 00 00 00 00 00 00 00 00 80 00 00 00 00 01 00 00 00";
  const Result tree = Tool({"decode", "--hex"}, past2038);
  EXPECT_EQ(tree.status, 0) << tree.err;
  EXPECT_NE(tree.out.find("absolute time 2040-02-06T06:28:16.5Z"), std::string::npos) << tree.out;
  const Result json = Tool({"decode", "--hex", "--json"}, past2038);
  EXPECT_NE(json.out.find("\"time\":\"2040-02-06T06:28:16.5Z\",\"words\":[0,2147483648,0,1]"),
            std::string::npos)
      << json.out;
  struct Case {
    const char* json;
    const char* image;
  };
  const Case cases[] = {
      {"{\"kind\":\"abstime\",\"time\":\"2040-02-06T06:28:16.5Z\"}", past2038},
      {"\"2040-02-06T06:28:16.5Z\"", past2038},
      {"\"hi\"", "05 10 00 00 02 00 00 00 68 69"},
      {"7", "03 00 00 00 00 00 00 00 00 00 1C 40"},
      {"{\"kind\":\"numeric\",\"qualifier\":\"int32\",\"value\":7}",
       "03 00 03 00 00 00 00 00 00 00 1C 40"},
      {"[true, null]", "07 30 00 00 02 00 00 00 02 00 00 00 01 01 00 00 00"},
      {"{\"a\": 1.5}",
       "0C 10 00 00 01 00 00 00 05 10 00 00 01 00 00 00 61 03 00 00 00 00 00 00 00 00 00 F8 3F"},
      {"{\"kind\":\"unicode\",\"text\":\"\\u00C5\\ud83d\\ude00\"}",
       "06 10 00 00 03 00 00 00 C5 00 3D D8 00 DE"},
      {"{\"kind\":\"time\",\"time\":\"1899-12-30T00:00:01Z\"}",
       "04 00 00 00 00 CA 9A 3B 00 00 00 00"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.json);
    const Result r = Tool({"encode", "--hex"}, c.json);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(ToHex(Hex(r.out)), ToHex(Hex(c.image)));
  }  // The earliest and latest instants still have a text; a time kind past its 64-bit
  // nanoseconds is refused, not wrapped.
  EXPECT_NE(Tool({"decode", "--hex"}, "0F 10 00 00 FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF 7F")
                .out.find("absolute time +292277026530-12-04T15:30:07.999999999Z"),
            std::string::npos);
  EXPECT_EQ(Tool({"decode", "--hex"}, "0F 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 80")
                .status,
            0);
  const Result far = Tool({"encode"}, "{\"kind\":\"time\",\"time\":\"2500-01-01T00:00:00Z\"}");
  EXPECT_EQ(far.status, 1);
  EXPECT_NE(far.err.find("value.time: outside the 292 years"), std::string::npos) << far.err;
}

// --max-elements shows the first elements of every array and counts the rest; such JSON is
// refused by encode rather than written short.
TEST(ZoKelTool, MaxElementsCountsTheRest) {
  const char* image = "07 30 00 00 03 00 00 00 02 00 00 00 01 02 00 00 00 00 02 00 00 00 01";
  EXPECT_EQ(Tool({"decode", "--hex", "--max-elements", "1"}, image).out,
            "compact value, 23 bytes\n"
            "       0  array, 3 elements\n"
            "       8    [0] logical true\n"
            "            ... and 2 more\n");
  const Result json = Tool({"decode", "--hex", "--json", "--max-elements", "1"}, image);
  EXPECT_NE(json.out.find("\"omitted\":2"), std::string::npos) << json.out;
  EXPECT_EQ(Tool({"encode"}, json.out).status, 1);
}

// Records are shown as they arrive: the first one is out while the input is still open.
TEST(ZoKelTool, SizedRecordsStreamBeforeTheInputEnds) {
  int in[2], out[2];
  ASSERT_EQ(pipe(in), 0);
  ASSERT_EQ(pipe(out), 0);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, in[0], 0);
  posix_spawn_file_actions_adddup2(&files, out[1], 1);
  posix_spawn_file_actions_addclose(&files, in[1]);
  posix_spawn_file_actions_addclose(&files, out[0]);
  std::string path = ZO_KEL_TOOL_PATH, decode = "decode", sized = "--sized";
  char* argv[] = {path.data(), decode.data(), sized.data(), nullptr};
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, ZO_KEL_TOOL_PATH, &files, nullptr, argv, environ), 0);
  posix_spawn_file_actions_destroy(&files);
  close(in[0]);
  close(out[1]);
  const unsigned char record[] = {0x05, 0, 0, 0, 0x02, 0, 0, 0, 0x01};
  ASSERT_EQ(write(in[1], record, sizeof record), static_cast<ssize_t>(sizeof record));
  // Read until the first record's value line arrives, with the input still open.
  std::string seen;
  pollfd ready{out[0], POLLIN, 0};
  while (seen.find("logical true\n") == std::string::npos && poll(&ready, 1, 10000) == 1) {
    char buf[256];
    const ssize_t n = read(out[0], buf, sizeof buf);
    if (n <= 0) break;
    seen.append(buf, static_cast<std::size_t>(n));
  }
  EXPECT_NE(seen.find("       0  record 0, 5 bytes\n       4    logical true\n"), std::string::npos)
      << seen;
  ASSERT_EQ(write(in[1], record, sizeof record), static_cast<ssize_t>(sizeof record));
  close(in[1]);
  char buf[256];
  for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;)
    seen.append(buf, static_cast<std::size_t>(n));
  close(out[0]);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_NE(seen.find("2 records, 18 bytes\n"), std::string::npos) << seen;
}

}  // namespace
