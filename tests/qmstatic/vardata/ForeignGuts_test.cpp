// Guts as another module declares them: the interfaces written out from their slot order alone
// (no library header), with the same class names a plug-in would use.
#include "qmstatic/vardata/ForeignGuts_test.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct MirrorGuid {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  unsigned char data4[8];
};

const MirrorGuid kAnsiGutsId = {
    0xA6B35961u, 0x74EB, 0x11D2, {0x8C, 0x76, 0x00, 0x60, 0x08, 0xC1, 0x63, 0x37}};

}  // namespace

// NOLINTBEGIN: the declarations of the listed slot order, in the global namespace.
class IUnknown {
 public:
  virtual std::int32_t QueryInterface(const MirrorGuid& iid, void** out) = 0;
  virtual std::int32_t AddRef() = 0;
  virtual std::int32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};

class IVarDataGuts : public IUnknown {
 public:
  virtual operator bool() const = 0;
  virtual operator double() const = 0;
  virtual std::int32_t Compare(const IVarDataGuts* other) const = 0;

 protected:
  ~IVarDataGuts() = default;
};

class IVarDataAnsi : public IVarDataGuts {
 public:
  virtual const char* GetData() const = 0;
  virtual std::uint32_t GetLength() const = 0;

 protected:
  virtual ~IVarDataAnsi() = default;
};

// The slots up to ToUpper, the last one called here; Concat, Left, Right, Mid and Proper follow.
class IAnsiGuts {
 public:
  virtual std::int32_t Compare(const IAnsiGuts* other) const = 0;
  virtual std::int32_t ExactCompare(const IAnsiGuts* other) const = 0;
  virtual std::int32_t Compare(const char* other) const = 0;
  virtual std::int32_t ExactCompare(const char* other) const = 0;
  virtual IAnsiGuts* ToLower() const = 0;
  virtual IAnsiGuts* ToUpper() const = 0;

 protected:
  ~IAnsiGuts() = default;
};

class IVarDataRaw : public IVarDataGuts {
 public:
  virtual void GetData(const unsigned char*& data, std::uint32_t& count) const = 0;

 protected:
  virtual ~IVarDataRaw() = default;
};

class IVarDataTGVariant : public IVarDataGuts {
 public:
  virtual void get(const unsigned short*& words, std::uint32_t& wordCount,
                   const unsigned char*& data, std::uint32_t& byteCount) const = 0;
  virtual std::uint32_t serializationSize() const = 0;
  virtual void serialize(unsigned char*& cursor, const unsigned char* limit) const = 0;

 protected:
  virtual ~IVarDataTGVariant() = default;
};
// NOLINTEND

namespace {

// The count and lifetime of a foreign object, kept where the test can read them.
template <class Interface>
class Counted : public Interface {
 public:
  explicit Counted(ForeignProbe& probe) : probe_(probe) {
    probe_.count = 1;
    ++probe_.live;
  }
  std::int32_t QueryInterface(const MirrorGuid&, void** out) override {
    *out = nullptr;
    return static_cast<std::int32_t>(0x80004002u);
  }
  std::int32_t AddRef() override { return ++probe_.count; }
  std::int32_t Release() override {
    const std::int32_t n = --probe_.count;
    if (n == 0) delete this;
    return n;
  }

 protected:
  ~Counted() override { --probe_.live; }

 private:
  ForeignProbe& probe_;
};

class ForeignRaw final : public Counted<IVarDataRaw> {
 public:
  ForeignRaw(ForeignProbe& probe, const unsigned char* data, std::uint32_t n)
      : Counted(probe), bytes_(data, data + n) {}
  operator bool() const override { return !bytes_.empty(); }
  operator double() const override { return 0.0; }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    const unsigned char* theirs = nullptr;
    std::uint32_t n = 0;
    static_cast<const IVarDataRaw*>(other)->GetData(theirs, n);
    const std::string a(bytes_.begin(), bytes_.end());
    const std::string b(reinterpret_cast<const char*>(theirs), n);
    return a.compare(b) < 0 ? -1 : a.compare(b) > 0 ? 1 : 0;
  }
  void GetData(const unsigned char*& data, std::uint32_t& count) const override {
    data = bytes_.data();
    count = static_cast<std::uint32_t>(bytes_.size());
  }

 private:
  std::vector<unsigned char> bytes_;
};

// Holds one descriptor word and one data byte; serializes them as two little-endian vectors.
class ForeignTGVariant final : public Counted<IVarDataTGVariant> {
 public:
  ForeignTGVariant(ForeignProbe& probe, unsigned short word, unsigned char byte)
      : Counted(probe), word_(word), byte_(byte) {}
  operator bool() const override { return true; }
  operator double() const override { return 1.0; }
  std::int32_t Compare(const IVarDataGuts*) const override { return 0; }
  void get(const unsigned short*& words, std::uint32_t& wordCount, const unsigned char*& data,
           std::uint32_t& byteCount) const override {
    words = &word_;
    wordCount = 1;
    data = &byte_;
    byteCount = 1;
  }
  std::uint32_t serializationSize() const override { return 11; }
  void serialize(unsigned char*& cursor, const unsigned char* limit) const override {
    if (limit - cursor < 11) return;
    const unsigned char image[11] = {
        1, 0, 0, 0,    static_cast<unsigned char>(word_), static_cast<unsigned char>(word_ >> 8), 1,
        0, 0, 0, byte_};
    std::memcpy(cursor, image, sizeof image);
    cursor += sizeof image;
  }

 private:
  unsigned short word_;
  unsigned char byte_;
};

// The text of narrow-text guts, through GetData and GetLength.
std::string TextOf(void* ansiGuts) {
  const auto* ansi = static_cast<const IVarDataAnsi*>(static_cast<IVarDataGuts*>(ansiGuts));
  return std::string(ansi->GetData(), ansi->GetLength());
}

}  // namespace

void* MakeForeignRaw(ForeignProbe& probe, const unsigned char* data, std::uint32_t count) {
  return static_cast<IVarDataGuts*>(new ForeignRaw(probe, data, count));
}

void* MakeForeignTGVariant(ForeignProbe& probe, unsigned short word, unsigned char byte) {
  return static_cast<IVarDataGuts*>(new ForeignTGVariant(probe, word, byte));
}

std::string ForeignView::upperThroughSecondInterface(void* ansiGuts, bool& secondAfterFirst) {
  auto* guts = static_cast<IVarDataGuts*>(ansiGuts);
  void* itf = nullptr;
  if (guts->QueryInterface(kAnsiGutsId, &itf) != 0) return "(no IAnsiGuts)";
  secondAfterFirst = static_cast<char*>(itf) == static_cast<char*>(ansiGuts) + sizeof(void*);
  const IAnsiGuts* upper = static_cast<IAnsiGuts*>(itf)->ToUpper();
  // The result's first interface sits one pointer before its IAnsiGuts.
  auto* made = reinterpret_cast<IVarDataAnsi*>(
      const_cast<char*>(reinterpret_cast<const char*>(upper)) - sizeof(void*));
  std::string out = TextOf(static_cast<IVarDataGuts*>(made));
  // Both orders through the second vtable: equal to the original without regard to case only.
  const std::string original = TextOf(ansiGuts);
  if (upper->Compare(original.c_str()) != 0 || upper->ExactCompare(original.c_str()) == 0) {
    out += "(order)";
  }
  out += made->Release() == 0 ? "" : "(leak)";
  // The caller's reference and the one QueryInterface added, one more and back.
  if (guts->AddRef() != 3 || guts->Release() != 2) out += "(count)";
  guts->Release();  // the reference QueryInterface added
  return out;
}
