#include "imaging/CreateDenoiser.h"

#include "imaging/OptixDenoiser.h"
#include "misc/adaptivitydenoising/HotPixelsDenoiser.h"
#include "misc/adaptivitydenoising/NlmDenoiser.h"

namespace Vespra {

AutoPtr<IDenoiser> createDenoiser(DenoisingMode mode, Scheduler& scheduler,
                                  SharedPtr<Abstract::Logger> logger, DenoisingData&& data) {
    switch (mode) {
    case DenoisingMode::NONE:
    case DenoisingMode::GATHER:
        return nullptr;
    case DenoisingMode::FIREFLIES:
        return makeAuto<HotPixelsDenoiser>(scheduler, std::move(data));
    case DenoisingMode::FULL:
        return makeAuto<NlmDenoiser>(scheduler, std::move(data));
    case DenoisingMode::NVIDIA_AI:
        return makeAuto<OptixDenoiser>(std::move(logger), std::move(data));
    }
    VESPRA_STOP();
}

} // namespace Vespra
