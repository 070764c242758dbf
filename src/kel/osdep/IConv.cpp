// Conversion through iconv with the library's replacement rule: whatever cannot be converted
// becomes '?' in the target's unit width.
#include "kel/osdep/IConv.h"

#include <iconv.h>

#include <cstddef>
#include <cstring>

#include "kel/exception.h"

namespace zo {
namespace kel {
namespace osdep {
namespace {

// An open converter, closed on every way out.
class Converter {
 public:
  Converter(const char* toCode, const char* fromCode) {
    const iconv_t invalid = reinterpret_cast<iconv_t>(-1);
    handle_ = toCode != nullptr && fromCode != nullptr ? iconv_open(toCode, fromCode) : invalid;
    if (handle_ == invalid) throw exception::InvalidLocale(ZO_KEL_HERE);
  }
  ~Converter() { iconv_close(handle_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // iconv(3): converts until the input is used up (true) or an error stops it (false).
  bool Convert(char*& in, std::size_t& inLeft, char*& out, std::size_t& outLeft) {
    return iconv(handle_, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
  }
  // Writes what returns a stateful code set to its initial shift state; nothing for the others.
  void Finish(char*& out, std::size_t& outLeft) {
    iconv(handle_, nullptr, nullptr, &out, &outLeft);
  }

 private:
  iconv_t handle_;
};

}  // namespace

template <typename From, typename To>
void IConv(const From* begin, const From* end, const char* fromCode, To* outBegin, To*& outEnd,
           const char* toCode) {
  Converter converter(toCode, fromCode);
  std::size_t inLeft =
      begin != nullptr && end > begin ? static_cast<std::size_t>(end - begin) * sizeof(From) : 0;
  std::size_t outLeft = outBegin != nullptr && outEnd > outBegin
                            ? static_cast<std::size_t>(outEnd - outBegin) * sizeof(To)
                            : 0;
  if (inLeft == 0 || outLeft == 0) {
    outEnd = outBegin;
    return;
  }
  // iconv's interface takes a non-const input pointer but never writes through it.
  char* in = const_cast<char*>(reinterpret_cast<const char*>(begin));
  char* out = reinterpret_cast<char*>(outBegin);
  while (inLeft >= sizeof(From) && outLeft >= sizeof(To)) {
    if (converter.Convert(in, inLeft, out, outLeft)) break;
    if (inLeft < sizeof(From) || outLeft < sizeof(To)) break;
    const To replacement = static_cast<To>('?');
    std::memcpy(out, &replacement, sizeof(To));
    out += sizeof(To);
    outLeft -= sizeof(To);
    in += sizeof(From);
    inLeft -= sizeof(From);
  }
  converter.Finish(out, outLeft);
  outEnd =
      outBegin + static_cast<std::size_t>(out - reinterpret_cast<char*>(outBegin)) / sizeof(To);
}

template void IConv<char, wchar_t>(const char*, const char*, const char*, wchar_t*, wchar_t*&,
                                   const char*);
template void IConv<wchar_t, char>(const wchar_t*, const wchar_t*, const char*, char*, char*&,
                                   const char*);
template void IConv<wchar_t, unsigned short>(const wchar_t*, const wchar_t*, const char*,
                                             unsigned short*, unsigned short*&, const char*);
template void IConv<unsigned short, wchar_t>(const unsigned short*, const unsigned short*,
                                             const char*, wchar_t*, wchar_t*&, const char*);

}  // namespace osdep
}  // namespace kel
}  // namespace zo
