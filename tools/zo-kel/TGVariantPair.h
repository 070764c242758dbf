// TG variant pairs in zo-kel: the descriptor words and data bytes of one flattened value, read
// with the library's codec into a VarData and flattened back from one.
#ifndef ZO_KEL_TOOLS_TGVARIANTPAIR_H
#define ZO_KEL_TOOLS_TGVARIANTPAIR_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Bytes.h"
#include "ValueImage.h"
#include "qmstatic/vardata/VarData.h"

namespace zokel_tool {

/// A pair as it travels: the words in the machine's order, the data bytes as they are.
struct TGPair {
  std::vector<unsigned short> words;
  Bytes data;
};

/// What to read the pair as: dictionaries as clusters, as variants, or whichever reads (clusters
/// first); strings narrow or wide.
struct TGReadOptions {
  std::string dictionaries = "auto";  // "auto", "cluster" or "variant"
  bool wide = false;
};

/// The value the pair holds, read by the library's codec; `dictionaries` tells how it read
/// them ("cluster" or "variant") and `name` receives the pair's name when not null.
/// ToolError "TG variant pair: " and why the pair does not read.
VarData ReadTGPair(const TGPair& pair, const TGReadOptions& options, std::string& dictionaries,
                   std::string* name = nullptr);

/// Writes the pair to standard output as its tree (its words, data, name and the value they
/// decode to) or as the JSON document of `zo-kel decode --tgvariant --json`:
/// {"form": "tgvariant", "name", "dictionaries", "descriptor", "data", "value"}.
/// ToolError when the pair does not read.
void ShowTGPair(const TGPair& pair, const TGReadOptions& options, const ShowOptions& show);

/// The pair the document describes: its "descriptor" and "data" as given when they read as the
/// document's "value" and name (unless `normalize`), otherwise the value flattened by the
/// library's writer. ToolError naming the member that is wrong or the writer's reason.
TGPair TGPairFromJson(const nlohmann::ordered_json& doc, bool normalize);

/// Descriptor words from their bytes, each word two bytes big-endian; ToolError naming `what`,
/// the last word and its byte for an odd count.
std::vector<unsigned short> WordsFromBytes(const Bytes& bytes, const std::string& what);
/// The reverse: each word as two bytes, big-endian.
Bytes WordsToBytes(const std::vector<unsigned short>& words);

}  // namespace zokel_tool

#endif  // ZO_KEL_TOOLS_TGVARIANTPAIR_H
