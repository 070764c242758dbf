// The time-value guts behind absolute and relative times, and the handle's time members.
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/GutsObject_impl.h"
#include "qmstatic/vardata/VarData.h"

namespace {

using zo::kel::detail::GrantInterface;
using zo::kel::detail::GutsObject;
using zo::kel::detail::IsOneOf;
using zo::kel::detail::RefuseInterface;

/// One exact time value. Whether it is absolute or relative is told by the handle's kind alone.
class VarDataSSTimeValue final : public GutsObject<IVarDataSSTimeValue> {
 public:
  explicit VarDataSSTimeValue(const nZOSS100::tSSTimeValue& value) : value_(value) {}

  std::int32_t QueryInterface(const GUID& iid, void** out) override {
    if (IsOneOf(iid, {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataSSTimeValue})) {
      return GrantInterface(static_cast<IVarDataSSTimeValue*>(this), out);
    }
    return RefuseInterface(out);
  }
  operator bool() const override { return !(!value_.value()); }
  operator double() const override { return static_cast<double>(value_.value()); }
  std::int32_t Compare(const IVarDataGuts* other) const override {
    // Through the interface: the other time may come from another module.
    const nZOSS100::tSSTimeValue theirs =
        static_cast<const IVarDataSSTimeValue*>(other)->getTimeValue();
    if (value_ == theirs) return 0;
    return value_ > theirs ? 1 : -1;
  }
  zo::kel::AbsTime getAbsTime() const override { return zo::kel::AbsTime(value_); }
  zo::kel::RelTime getRelTime() const override { return zo::kel::RelTime(value_); }
  nZOSS100::tSSTimeValue getTimeValue() const override { return value_; }

 private:
  ~VarDataSSTimeValue() override = default;

  nZOSS100::tSSTimeValue value_;
};

}  // namespace

IVarDataGuts* NewVarDataSSTimeValue(const nZOSS100::tSSTimeValue& value) {
  return new VarDataSSTimeValue(value);
}

VarData::VarData(const zo::kel::AbsTime& time) : type_(kEmpty), payload_{0, 0} {
  setISSTimeValue(kAbsTime, time);
}

VarData::VarData(const zo::kel::RelTime& time) : type_(kEmpty), payload_{0, 0} {
  setISSTimeValue(kRelTime, time);
}

void VarData::setAbsTime(const zo::kel::AbsTime& time) {
  IVarDataGuts* made = NewVarDataSSTimeValue(time);
  Clear();
  adoptGuts(kAbsTime, made);
}

void VarData::setRelTime(const zo::kel::RelTime& time) {
  IVarDataGuts* made = NewVarDataSSTimeValue(time);
  Clear();
  adoptGuts(kRelTime, made);
}

void VarData::setISSTimeValue(std::uint32_t type, const nZOSS100::tSSTimeValue& value) {
  IVarDataGuts* made = NewVarDataSSTimeValue(value);
  type_ = type;
  setGutsPointer(made);
}

bool VarData::getAbsTime(zo::kel::AbsTime& time) const {
  if (type_ != kAbsTime || guts() == nullptr) return false;
  time = getISSTimeValue()->getAbsTime();
  return true;
}

bool VarData::getRelTime(zo::kel::RelTime& time) const {
  if (type_ != kRelTime || guts() == nullptr) return false;
  time = getISSTimeValue()->getRelTime();
  return true;
}
