// Values for the gdb printer test: each is built, then Stop() is called with all of them alive so
// that gdb, stopped there, prints them from main's frame.
#include "zo_kel_basics.h"

namespace {

// Kept out of line so that the breakpoint has a frame to stop in.
__attribute__((noinline)) void Stop(const void* anchor) {
  asm volatile("" : : "r"(anchor) : "memory");
}

}  // namespace

int main() {
  const VarData number = VarData::num(42, VarData::kInt32);
  const VarData real = 2.5;
  const VarData text = "abc";
  const VarData wide = L"d\u00e9j\u00e0";
  const VarData empty;
  const VarData logical = true;
  const zo::kel::AbsTime instant(3878359200.0, 0.5);  // 2026-11-24T10:00:00.5Z
  const VarData when = instant;
  const zo::kel::RelTime duration(90.0, 0.25);
  const VarData list = [] {
    VarData a;
    a.SetElement(0, VarData(1));
    a.SetElement(1, VarData("x"));
    return a;
  }();
  VarData dict = VarData::dict();
  dict["k"] = 7;
  const VarData* all[] = {&number, &real, &text, &wide, &empty, &logical, &when, &list, &dict};
  Stop(all);
  Stop(&instant);
  Stop(&duration);
  return 0;
}
