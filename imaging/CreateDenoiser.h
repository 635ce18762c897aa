#pragma once

#include "foundation/Logger.h"
#include "foundation/Scheduler.h"
#include "misc/adaptivitydenoising/IDenoiser.h"

namespace Vespra {

/// The denoiser of `mode`: none for "None" and "Gather" (an empty pointer), `HotPixelsDenoiser`,
/// `NlmDenoiser` or `OptixDenoiser`, built from `data`. Only the GPU mode uses `logger`; it
/// throws the library check's message when its runtime is missing.
AutoPtr<IDenoiser> createDenoiser(DenoisingMode mode, Scheduler& scheduler,
                                  SharedPtr<Abstract::Logger> logger, DenoisingData&& data);

} // namespace Vespra
