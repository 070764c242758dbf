// The byte-block and cell guts, and the lifetime hooks.
#include <cstring>
#include <new>

#include "kel/BufferWrapper.h"
#include "kel/DLLMalloc.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo::kel::detail::GrantInterface;
using zo::kel::detail::GutsObject;
using zo::kel::detail::IsOneOf;
using zo::kel::detail::RefuseInterface;

/// An owned copy of a block of bytes.
class RawGuts final : public GutsObject<IVarDataRaw> {
 public:
  RawGuts(const unsigned char* data, std::uint32_t count)
      : count_(count),
        data_(static_cast<unsigned char*>(zo::kel::DLLMalloc(count == 0 ? 1 : count))) {
    if (count != 0) std::memcpy(data_, data, count);
  }

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataRaw})) {
      return GrantInterface(static_cast<IVarDataRaw*>(this), out);
    }
    return RefuseInterface(out);
  }
  // Any block that holds bytes is true, whatever the bytes.
  operator bool() const override { return count_ != 0; }
  operator double() const override { return 0.0; }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    // Through the interface: the other block may come from another module.
    const unsigned char* theirs = nullptr;
    std::uint32_t theirCount = 0;
    static_cast<const IVarDataRaw*>(other)->GetData(theirs, theirCount);
    return zo::kel::CompareBuffers(zo::kel::BufferWrapper(data_, count_),
                                   zo::kel::BufferWrapper(theirs, theirCount));
  }
  void GetData(const unsigned char*& data, std::uint32_t& count) const override {
    data = data_;
    count = count_;
  }

 private:
  ~RawGuts() override { zo::kel::DLLFree(data_); }

  std::uint32_t count_;
  unsigned char* data_;
};

/// A row, a column and one value; truth, number and order are the value's.
class CellGuts final : public GutsObject<IVarDataCell> {
 public:
  CellGuts(std::uint16_t row, std::uint16_t column, const VarData& value)
      : row_(row), column_(column), value_(value) {}

  // Also answers IID_IVarDataRaw, deliberately as the cell always has: callers that ask a cell
  // for raw bytes get the cell interface.
  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IVarDataCell, &IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataRaw})) {
      return GrantInterface(static_cast<IVarDataCell*>(this), out);
    }
    return RefuseInterface(out);
  }
  operator bool() const override { return static_cast<bool>(value_); }
  operator double() const override { return static_cast<double>(value_); }
  // Row and column take no part in the order.
  std::int32_t Compare(const IVarDataGuts* other) const override {
    std::uint16_t row = 0;
    std::uint16_t column = 0;
    VarData theirs;
    static_cast<const IVarDataCell*>(other)->GetCell(&row, &column, &theirs);
    return value_.Compare(theirs);
  }
  void GetCell(std::uint16_t* row, std::uint16_t* column, VarData* value) const override {
    *row = row_;
    *column = column_;
    *value = value_;
  }

 private:
  ~CellGuts() override = default;

  std::uint16_t row_;
  std::uint16_t column_;
  VarData value_;
};

}  // namespace

IVarDataGuts* NewRawGuts(const unsigned char* data, std::uint32_t count) {
  return new RawGuts(data, count);
}

IVarDataGuts* NewCellGuts(std::uint16_t row, std::uint16_t column, const VarData& value) {
  return new CellGuts(row, column, value);
}

IVarDataGuts* NewVarDataDAQBLOB() { return nullptr; }

void DoLogObjectCreate() {}

void DoLogObjectDestroy() {}
