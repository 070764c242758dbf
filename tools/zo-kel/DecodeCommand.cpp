// zo-kel decode: a byte image shown as a readable tree or as JSON, written while it is read.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Bytes.h"
#include "Cli.h"
#include "Commands.h"
#include "Output.h"
#include "PacketTree.h"
#include "TGVariantPair.h"
#include "ValueCheck.h"
#include "ValueImage.h"
#include "VarDataJson.h"
#include "kel/fd/FlexData.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

const char kHelp[] =
    "usage: zo-kel decode [FORM] [--hex] [--json] [--max-elements N] [FILE]\n"
    "       zo-kel decode --tgvariant [--hex] [--json] [--dictionaries HOW] [--wide]\n"
    "                     DESCRIPTOR DATA\n"
    "\n"
    "Reads a byte image from FILE (standard input when FILE is absent or \"-\") and shows it\n"
    "as an indented tree, each line starting with the byte offset of its element in the\n"
    "input, or with --json as JSON (docs/json.md) that `zo-kel encode` turns back into\n"
    "exactly the same bytes.\n"
    "\n"
    "FORM is one of:\n"
    "  (none)       one VarData value in the compact form\n"
    "  --full       one VarData value in the full form\n"
    "  --sized      size-prefixed VarData records (compact), any number in a row; each\n"
    "               record is shown as soon as it is read\n"
    "  --flexdata   one FlexData packet\n"
    "  --tgvariant  one TG variant pair from two inputs: DESCRIPTOR, its 16-bit words each\n"
    "               two bytes big-endian, and DATA, the flattened data (one may be \"-\")\n"
    "\n"
    "options:\n"
    "  --hex        the input is hex text (\"05 10 00 00 ...\"; blanks and line breaks ignored)\n"
    "  --json       print JSON instead of the tree\n"
    "  --max-elements N\n"
    "               show the first N elements of every array and dictionary and count the\n"
    "               rest (default: all with --json, 64 in the tree); JSON cut this way does\n"
    "               not encode\n"
    "  --dictionaries cluster|variant\n"
    "               how the pair carries dictionaries (default: clusters, else variants)\n"
    "  --wide       read the pair's strings and keys as wide (unicode) text\n"
    "\n"
    "Bytes the library's reader would keep in another form (a logical byte above 1, keys\n"
    "out of order or given twice, bits above a kind code) are shown as they are, with a note\n"
    "on standard error; `zo-kel encode --normalize` writes the normal form.\n"
    "\n"
    "Exit status: 0 done, 1 the input does not read (one line on standard error: the form,\n"
    "the failing element, its byte offset and the reason), 2 bad usage.\n";

constexpr std::uint64_t kTreeElements = 64;

std::string Offset(std::uint64_t n) { return "byte " + std::to_string(n); }

// One input, read as it arrives: a file, standard input, or the bytes of hex text.
class Source {
 public:
  Source(const std::string& path, bool hex) {
    if (hex) {
      const Bytes text = ReadInput(path);
      hexBytes_ = ParseHex(std::string(text.begin(), text.end()), "hex input");
      return;
    }
    if (path == "-") {
      file_ = stdin;
      if (isatty(0) != 0) {
        std::fputs("zo-kel decode: reading the image from standard input (end it with Ctrl-D)\n",
                   stderr);
      }
      return;
    }
    file_ = std::fopen(path.c_str(), "rb");
    if (file_ == nullptr) throw ToolError("cannot read " + path + ": " + std::strerror(errno));
    owned_.reset(file_);
  }

  // Appends up to n bytes; fewer only at the end of the input. What is shown so far goes out
  // before the input is waited for, so that a record is seen as soon as it is read.
  std::size_t read(Bytes& to, std::size_t n) {
    const std::size_t before = to.size();
    if (file_ == nullptr) {
      const std::size_t k = std::min(n, hexBytes_.size() - hexAt_);
      to.insert(to.end(), hexBytes_.begin() + static_cast<std::ptrdiff_t>(hexAt_),
                hexBytes_.begin() + static_cast<std::ptrdiff_t>(hexAt_ + k));
      hexAt_ += k;
      return k;
    }
    while (to.size() - before < n) {
      if (bufferAt_ == buffer_.size()) {
        if (ended_) break;
        FlushOutput();
        buffer_.resize(kChunk);
        ssize_t got;
        do {
          got = ::read(fileno(file_), buffer_.data(), kChunk);
        } while (got < 0 && errno == EINTR);
        if (got < 0) throw ToolError(std::string("cannot read the input: ") + std::strerror(errno));
        buffer_.resize(static_cast<std::size_t>(got));
        bufferAt_ = 0;
        ended_ = got == 0;
        continue;
      }
      // Only what has arrived is appended: a size read from hostile bytes allocates no more.
      const std::size_t k = std::min(n - (to.size() - before), buffer_.size() - bufferAt_);
      to.insert(to.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(bufferAt_),
                buffer_.begin() + static_cast<std::ptrdiff_t>(bufferAt_ + k));
      bufferAt_ += k;
    }
    return to.size() - before;
  }

  // The rest of the input. A file's size is reserved at once: growing by doubling would hold
  // the old and the new block together, up to twice the input, while it copies.
  Bytes all() {
    Bytes bytes;
    struct stat st;
    if (file_ != nullptr && fstat(fileno(file_), &st) == 0 && S_ISREG(st.st_mode) &&
        st.st_size > 0) {
      bytes.reserve(static_cast<std::size_t>(st.st_size));
    }
    while (read(bytes, 1 << 20) == 1 << 20) {
    }
    return bytes;
  }

 private:
  struct Closer {
    void operator()(std::FILE* f) const { std::fclose(f); }
  };
  std::FILE* file_ = nullptr;
  std::unique_ptr<std::FILE, Closer> owned_;
  Bytes hexBytes_;
  std::size_t hexAt_ = 0;
  static constexpr std::size_t kChunk = 1 << 16;
  Bytes buffer_;
  std::size_t bufferAt_ = 0;
  bool ended_ = false;
};

void NormalFormNote(const std::string& what, std::uint64_t from) {
  if (from == kNormalForm) return;
  std::fprintf(stderr,
               "zo-kel decode: note: %s is not in the normal form the library writes, from %s on "
               "(`zo-kel encode --normalize` writes that form)\n",
               what.c_str(), Offset(from).c_str());
}

void DecodeValue(Source& source, bool compact, const ShowOptions& show) {
  const std::string form = compact ? "compact value" : "full value";
  const Bytes in = source.all();
  const unsigned char* begin = in.data();
  const unsigned char* end = begin + in.size();
  const ValueCheck check = CheckValueImage(begin, end, compact, 0, form);
  const unsigned char* valueEnd = check.end;
  if (valueEnd != end) {
    throw ToolError(form + ": the end of the value at " +
                    Offset(static_cast<std::uint64_t>(valueEnd - begin)) + ": " +
                    BytesFollow(static_cast<std::uint64_t>(end - valueEnd)) + " it");
  }
  NormalFormNote("the value", check.normalFrom);
  if (show.json) {
    Put(std::string("{\"form\":\"") + (compact ? "compact" : "full") + "\",\"value\":");
    ShowValueImage(begin, end, compact, 0, show, 0, "");
    Put("}\n");
  } else {
    Put(form + ", " + std::to_string(in.size()) + " bytes\n");
    ShowValueImage(begin, end, compact, 0, show, 0, "");
  }
}

// Records: a 32-bit size s, then s bytes whose start is one compact value. The library skips
// to the end of the record whatever the value used; the bytes it skips are kept as "extra".
// Each record is read, checked and shown before the next one is read.
void DecodeSized(Source& source, const ShowOptions& show) {
  Put(show.json ? "{\"form\":\"sized\",\"records\":[" : "sized records\n");
  std::uint64_t offset = 0, index = 0;
  Bytes record;
  for (;; ++index) {
    record.clear();
    const std::string form =
        "sized stream: record " + std::to_string(index) + " at " + Offset(offset);
    const std::size_t prefix = source.read(record, 4);
    if (prefix == 0) break;
    if (prefix < 4) {
      throw ToolError(form + ": the stream ends inside its size prefix (" + std::to_string(prefix) +
                      " of 4 bytes)");
    }
    const std::uint32_t size =
        static_cast<std::uint32_t>(record[0] | record[1] << 8 | record[2] << 16) |
        static_cast<std::uint32_t>(record[3]) << 24;
    const std::size_t got = source.read(record, size);
    if (got < size) {
      throw ToolError(form + ": size " + std::to_string(size) + " runs past the end (" +
                      std::to_string(got) + " bytes follow the prefix)");
    }
    const unsigned char* value = record.data() + 4;
    const unsigned char* recordEnd = value + size;
    const ValueCheck check = CheckValueImage(value, recordEnd, true, offset + 4, form);
    const unsigned char* valueEnd = check.end;
    NormalFormNote("record " + std::to_string(index), check.normalFrom);
    const auto extra = static_cast<std::size_t>(recordEnd - valueEnd);
    if (show.json) {
      Put(std::string(index == 0 ? "\n" : ",\n") + "  {\"value\":");
      ShowValueImage(value, recordEnd, true, offset + 4, show, 2, "");
      Put(extra == 0 ? "}" : ",\"extra\":\"" + ToHex(valueEnd, extra) + "\"}");
    } else {
      std::string head;
      AppendLine(head, offset, 0,
                 "record " + std::to_string(index) + ", " + std::to_string(size) + " bytes");
      Put(head);
      ShowValueImage(value, recordEnd, true, offset + 4, show, 1, "");
      if (extra != 0) {
        std::string line;
        AppendLine(line, offset + 4 + static_cast<std::uint64_t>(valueEnd - value), 1,
                   "extra: " + ToHex(valueEnd, extra));
        Put(line);
      }
    }
    offset += 4 + std::uint64_t{size};
  }
  if (show.json) {
    Put(index == 0 ? "]}\n" : "\n]}\n");
  } else {
    Put(std::to_string(index) + (index == 1 ? " record, " : " records, ") + std::to_string(offset) +
        " bytes\n");
  }
}

void DecodePacket(Source& source, const ShowOptions& show) {
  const Bytes in = source.all();
  const zo::kel::FlexData packet =
      ReadPacketImage(in.data(), in.data() + in.size(), "FlexData packet");
  if (show.json) {
    json doc = {{"form", "flexdata"}};
    if (!packet.isEmpty()) doc["type"] = FlexTypeName(static_cast<std::uint16_t>(packet.getType()));
    const std::string head = doc.dump();
    Put(head.substr(0, head.size() - 1) + ",\"packet\":\"");
    PutHex(in.data(), in.size());
    Put("\"}\n");
    return;
  }
  std::string out = "FlexData packet, " + std::to_string(in.size()) + " bytes\n";
  if (packet.isEmpty()) {
    AppendLine(out, 0, 0, "empty (no packet)");
  } else {
    WalkPacket(&out, in.data(), in.data() + in.size(), 0, 0, "", show.maxElements);
  }
  Put(out);
}

// What the command line asked of decode.
struct DecodeArgs {
  bool full = false, sized = false, flexdata = false, tgvariant = false, hex = false;
  bool json = false, wide = false;
  std::string maxElements, dictionaries;
  const CLI::Option* maxElementsGiven = nullptr;
  const CLI::Option* dictionariesGiven = nullptr;
  std::vector<std::string> files;
};

// The descriptor and the data of a pair, each from its own input.
void DecodeTGVariant(const DecodeArgs& args, const ShowOptions& show) {
  TGReadOptions options;
  options.wide = args.wide;
  if (args.dictionariesGiven->count() > 0) {
    const std::string& how = args.dictionaries;
    if (how != "cluster" && how != "variant") {
      throw UsageError("--dictionaries must be cluster or variant, not \"" + how + "\"");
    }
    options.dictionaries = how;
  }
  if (args.files.size() != 2) {
    throw UsageError("--tgvariant reads two inputs, DESCRIPTOR and DATA (see --help)");
  }
  const std::vector<std::string>& files = args.files;
  if (files[0] == "-" && files[1] == "-") {
    throw UsageError("the descriptor and the data cannot both come from standard input");
  }
  TGPair pair;
  pair.words = WordsFromBytes(Source(files[0], args.hex).all(), "TG variant descriptor");
  pair.data = Source(files[1], args.hex).all();
  ShowTGPair(pair, options, show);
}

int Run(const DecodeArgs& args) {
  ShowOptions show;
  show.json = args.json;
  show.maxElements = show.json ? ~std::uint64_t{0} : kTreeElements;
  if (args.maxElementsGiven->count() > 0) {
    show.maxElements = ParseUnsigned(args.maxElements, 0xFFFFFFFFu, "--max-elements");
  }
  if (args.full + args.sized + args.flexdata + args.tgvariant > 1)
    throw UsageError("give at most one of --full, --sized, --flexdata, --tgvariant");
  if (args.tgvariant) {
    DecodeTGVariant(args, show);
    return 0;
  }
  if (args.wide || args.dictionariesGiven->count() > 0) {
    throw UsageError("--wide and --dictionaries apply to --tgvariant");
  }
  if (args.files.size() > 1) {
    throw UsageError("unexpected argument \"" + args.files[1] + "\" (see --help)");
  }
  Source source(args.files.empty() ? "-" : args.files[0], args.hex);
  if (args.sized) {
    DecodeSized(source, show);
  } else if (args.flexdata) {
    DecodePacket(source, show);
  } else {
    DecodeValue(source, !args.full, show);
  }
  return 0;
}

std::function<int()> Define(CLI::App& app) {
  auto args = std::make_shared<DecodeArgs>();
  app.add_flag("--full", args->full);
  app.add_flag("--sized", args->sized);
  app.add_flag("--flexdata", args->flexdata);
  app.add_flag("--tgvariant", args->tgvariant);
  app.add_flag("--hex", args->hex);
  app.add_flag("--json", args->json);
  app.add_flag("--wide", args->wide);
  args->maxElementsGiven = app.add_option("--max-elements", args->maxElements);
  args->dictionariesGiven = app.add_option("--dictionaries", args->dictionaries);
  // One input, or DESCRIPTOR and DATA with --tgvariant.
  app.add_option("FILE", args->files)->expected(0, 2);
  return [args] { return Run(*args); };
}

}  // namespace

const Command kDecodeCommand = {"decode", "show a byte image as a readable tree or as JSON", kHelp,
                                Define};

}  // namespace zokel_tool
