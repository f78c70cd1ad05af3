// Picks the widest intensity fast forms the CPU runs, once.
#include "types/cpu.h"
#include "video/intensity_kernels.h"

namespace rivulet {

const IntensityForms* intensityForms() {
  static const IntensityForms* const forms = [] {
    const IntensityForms* const byLevel[] = {nullptr, nullptr, nullptr, &kIntensityForms_AVX2,
                                             &kIntensityForms_AVX512};
    return widestForm(byLevel);
  }();
  return forms;
}

}  // namespace rivulet
