// zo-kel encode: the JSON of `zo-kel decode --json` (or a bare value) back to bytes.
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <string>

#include "Bytes.h"
#include "Cli.h"
#include "Commands.h"
#include "PacketTree.h"
#include "TGVariantPair.h"
#include "ValueImage.h"
#include "VarDataJson.h"
#include "kel/AutoBuffer.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

namespace {

using json = nlohmann::ordered_json;

const char kHelp[] =
    "usage: zo-kel encode [--hex] [--full | --sized] [--normalize] [-o FILE] [FILE]\n"
    "\n"
    "Reads JSON from FILE (standard input when FILE is absent or \"-\") and writes the byte\n"
    "image it describes (docs/json.md): the document `zo-kel decode --json` prints, whose\n"
    "\"form\" decides the image and which gives back exactly the bytes decoded, or one bare\n"
    "value written in the compact form, the full form (--full) or as one size-prefixed\n"
    "record (--sized). A bare value may be exact ({\"kind\": \"numeric\", \"qualifier\":\n"
    "\"int32\", \"value\": 7}) or plain JSON: a string is narrow text (or an absolute time\n"
    "when it reads as ISO 8601 UTC), a number a double, true/false a logical, null empty,\n"
    "an array an array, an object without \"kind\" a dictionary with text keys.\n"
    "A TG variant pair (form \"tgvariant\") keeps its words and bytes as decoded while they\n"
    "hold the document's value, and is flattened from the value by the library otherwise;\n"
    "it is two images: with --hex the descriptor line, then the data line; in binary the\n"
    "descriptor to -o FILE and the data to --data-output FILE.\n"
    "\n"
    "options:\n"
    "  --hex        write hex text (one line per image or record) instead of binary\n"
    "  --normalize  write each value as the library writes what it reads (labels in order,\n"
    "               logicals 0 or 1, no bits above a kind code)\n"
    "  -o, --output FILE   write to FILE instead of standard output\n"
    "  --data-output FILE  where a TG variant pair's data goes in binary\n"
    "\n"
    "Exit status: 0 done, 1 the document is wrong (one line on standard error: the line and\n"
    "column of a JSON syntax error, or the place in the document such as\n"
    "\"value.entries[1].key\" and what is wrong), 2 bad usage.\n";

json ParseDocument(const Bytes& text) {
  try {
    return json::parse(text.begin(), text.end());
  } catch (const json::parse_error& e) {
    // The parser's text reads "[json.exception.parse_error.101] parse error at line 1, column
    // 5: syntax error while parsing value - ..."; its class tag is left out.
    std::string detail = e.what();
    const std::size_t tag = detail.find("] ");
    if (tag != std::string::npos) detail.erase(0, tag + 2);
    if (detail.compare(0, 15, "parse error at ") == 0) detail.erase(0, 15);
    if (detail.size() > 160) detail = detail.substr(0, 157) + "...";
    throw ToolError("JSON input: " + detail);
  }
}

std::string Lines(const std::vector<Bytes>& images) {
  std::string out;
  for (const Bytes& b : images) out += ToHex(b) + "\n";
  return out;
}

// The image of one value as the JSON gives it, or with `normalize` as the library writes the
// value it reads from that image.
Bytes Value(const json& value, const std::string& path, bool compact, bool normalize) {
  Bytes image;
  EncodeValueImage(image, value, compact, path);
  if (!normalize) return image;
  VarData v;
  const unsigned char* cursor = image.data();
  try {
    v.deserializeImpl(cursor, image.data() + image.size(), compact);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    try {
      WalkValueImage(image.data(), image.data() + image.size(), compact, 0);
    } catch (const ImageFailure& f) {
      throw ToolError(ShortPath(path + f.path.substr(5)) + ": " + f.reason);
    }
    throw ToolError(path + ": does not make a value");
  }
  zo::kel::AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, compact);
  return Bytes(buffer.Data(), buffer.Data() + buffer.Len());
}

// One record: the 32-bit size, the compact value and any extra bytes the size also counts.
Bytes Record(const json& value, const std::string& path, const Bytes& extra, bool normalize) {
  Bytes record(4, 0);
  const Bytes image = Value(value, path, true, normalize);
  record.insert(record.end(), image.begin(), image.end());
  const auto size = static_cast<std::uint32_t>(record.size() - 4 + extra.size());
  for (int i = 0; i < 4; ++i)
    record[static_cast<std::size_t>(i)] = static_cast<unsigned char>(size >> (8 * i));
  record.insert(record.end(), extra.begin(), extra.end());
  return record;
}

std::vector<Bytes> SizedRecords(const json& doc, bool normalize) {
  CheckMembers(doc, "form records", "document");
  const auto records = doc.find("records");
  if (records == doc.end() || !records->is_array()) {
    throw ToolError("document: expected a \"records\" array");
  }
  std::vector<Bytes> images;
  for (std::size_t i = 0; i < records->size(); ++i) {
    const json& r = (*records)[i];
    const std::string path = "records[" + std::to_string(i) + "]";
    CheckMembers(r, "value extra", path);
    if (!r.contains("value")) throw ToolError(path + ": missing member \"value\"");
    Bytes extra;
    if (r.contains("extra")) {
      if (!r.at("extra").is_string()) throw ToolError(path + ".extra: expected hex text");
      extra = ParseHex(r.at("extra").get<std::string>(), path + ".extra");
    }
    images.push_back(Record(r.at("value"), path + ".value", extra, normalize));
  }
  return images;
}

Bytes Packet(const json& doc) {
  CheckMembers(doc, "form packet type", "document");
  if (!doc.contains("packet") || !doc.at("packet").is_string()) {
    throw ToolError("document: expected a \"packet\" member of hex text");
  }
  const Bytes bytes = ParseHex(doc.at("packet").get<std::string>(), "packet");
  ReadPacketImage(bytes.data(), bytes.data() + bytes.size(), "packet");
  return bytes;
}

std::vector<Bytes> Encode(const json& doc, bool full, bool sized, bool normalize) {
  if (!doc.is_object() || !doc.contains("form")) {  // a bare value
    if (sized) return {Record(doc, "value", Bytes(), normalize)};
    return {Value(doc, "value", !full, normalize)};
  }
  const json& form = doc.at("form");
  const std::string name = form.is_string() ? form.get<std::string>() : form.dump();
  if (full || sized) {
    throw UsageError("--full and --sized apply to a bare value; this document's form is " + name);
  }
  if (name == "compact" || name == "full") {
    CheckMembers(doc, "form value", "document");
    if (!doc.contains("value")) throw ToolError("document: missing member \"value\"");
    return {Value(doc.at("value"), "value", name == "compact", normalize)};
  }
  if (name == "sized") return SizedRecords(doc, normalize);
  if (name == "flexdata") return {Packet(doc)};
  if (name == "tgvariant") {
    TGPair pair = TGPairFromJson(doc, normalize);
    return {WordsToBytes(pair.words), std::move(pair.data)};
  }
  throw ToolError("document: unknown form " + form.dump() +
                  " (compact, full, sized, flexdata or tgvariant)");
}

// What the command line asked of encode.
struct EncodeArgs {
  bool hex = false, full = false, sized = false, normalize = false;
  std::string output = "-", dataOutput;
  const CLI::Option* dataOutputGiven = nullptr;
  std::string file = "-";
};

int Run(const EncodeArgs& args) {
  const bool hex = args.hex, full = args.full, sized = args.sized;
  const std::string& to = args.output;
  const bool dataOutput = args.dataOutputGiven->count() > 0;
  if (full && sized) throw UsageError("give at most one of --full, --sized");
  const json doc = ParseDocument(ReadInput(args.file));
  const std::vector<Bytes> images = Encode(doc, full, sized, args.normalize);
  const bool pair = doc.is_object() && doc.value("form", json()) == "tgvariant";
  if (dataOutput && (!pair || hex))
    throw UsageError("--data-output is for a binary TG variant pair");
  if (pair && !hex && !dataOutput) {
    throw UsageError(
        "a TG variant pair is two images: give -o DESCRIPTOR --data-output DATA, or --hex");
  }
  if (pair && !hex) {
    WriteOutput(to, images[0]);
    WriteOutput(args.dataOutput, images[1]);
  } else if (hex) {
    WriteOutput(to, Lines(images));
  } else {
    Bytes all;
    for (const Bytes& b : images) all.insert(all.end(), b.begin(), b.end());
    WriteOutput(to, all);
  }
  return 0;
}

std::function<int()> Define(CLI::App& app) {
  auto args = std::make_shared<EncodeArgs>();
  app.add_flag("--hex", args->hex);
  app.add_flag("--full", args->full);
  app.add_flag("--sized", args->sized);
  app.add_flag("--normalize", args->normalize);
  app.add_option("-o,--output", args->output);
  args->dataOutputGiven = app.add_option("--data-output", args->dataOutput);
  app.add_option("FILE", args->file);
  return [args] { return Run(*args); };
}

}  // namespace

const Command kEncodeCommand = {"encode", "build a byte image from its JSON", kHelp, Define};

}  // namespace zokel_tool
