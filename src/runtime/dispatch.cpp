// Choice of the processor-specific variant of every kernel (see dispatch.hpp).
//
// This file is itself compiled once per variant: its one kernel reports the
// variant it was compiled for, which tells which one dispatch chooses now.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "runtime/dispatch.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zyn::simd::HWY_NAMESPACE {

int64_t CompiledVariant() { return HWY_TARGET; }

}  // namespace zyn::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
#include <cstdlib>
#include <string_view>

#include "runtime/dispatch.hpp"

namespace zyn::simd {
namespace {

HWY_EXPORT(CompiledVariant);

// The compiled variant of that name, or 0.
int64_t variant_named(std::string_view name) {
  for (int64_t rest = HWY_TARGETS; rest != 0; rest &= rest - 1) {
    const int64_t variant = rest & -rest;
    if (name == hwy::TargetName(variant)) return variant;
  }
  return 0;
}

// ZYN_SIMD_VARIANT=<name> leaves only that variant to dispatch (the
// portable one stands in where the processor lacks it); an unknown name is
// ignored. Read once: when the library is loaded, or by the first caller
// that enumerates the variants, whichever comes first.
bool apply_environment_once() {
  static const bool applied = [] {
    const char* name = std::getenv("ZYN_SIMD_VARIANT");
    const int64_t variant = name == nullptr ? 0 : variant_named(name);
    if (variant != 0) hwy::DisableTargets(~variant);
    return variant != 0;
  }();
  return applied;
}
[[maybe_unused]] const bool kAppliedAtLoad = apply_environment_once();

}  // namespace

std::vector<int64_t> available_variants() {
  apply_environment_once();
  return hwy::SupportedAndGeneratedTargets();
}

void use_variant(int64_t variant) { hwy::SetSupportedTargetsForTest(variant); }

std::string variant_name(int64_t variant) { return hwy::TargetName(variant); }

std::string active_variant_name() { return variant_name(HWY_DYNAMIC_DISPATCH(CompiledVariant)()); }

}  // namespace zyn::simd
#endif  // HWY_ONCE
