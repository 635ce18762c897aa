#include "imaging/OptixApi.h"

#include "imaging/GpuLibraries.h"

namespace Vespra::Optix {

namespace {

template <class Pointer>
bool bindSymbol(Pointer& pointer, ArrayView<const char* const> libraries, const char* symbol) {
    pointer = reinterpret_cast<Pointer>(findGpuSymbol(libraries, symbol));
    return pointer != nullptr;
}

Expected<const Api*> loadApi() {
    const Expected<bool>& loaded = checkGpuDenoiserLibraries();
    if (!loaded) {
        return makeUnexpected(loaded.error());
    }
    static Api api;
    const ArrayView<const char* const> runtime = GPU_DENOISER_LIBRARIES;
    const char* const driverNames[] = {CUDA_DRIVER_LIBRARY};
    const ArrayView<const char* const> driver = driverNames;
#define VESPRA_BIND(field, libraries, symbol)                                                                \
    if (!bindSymbol(api.field, libraries, symbol)) {                                                         \
        return makeUnexpected(                                                                               \
            String::fromUtf8(std::string("Missing function in the GPU libraries: ") + symbol));              \
    }
    VESPRA_BIND(rtGetVersion, runtime, "rtGetVersion")
    VESPRA_BIND(rtContextCreate, runtime, "rtContextCreate")
    VESPRA_BIND(rtContextDestroy, runtime, "rtContextDestroy")
    VESPRA_BIND(rtContextGetErrorString, runtime, "rtContextGetErrorString")
    VESPRA_BIND(rtContextSetUsageReportCallback, runtime, "rtContextSetUsageReportCallback")
    VESPRA_BIND(rtContextDeclareVariable, runtime, "rtContextDeclareVariable")
    VESPRA_BIND(rtContextQueryVariable, runtime, "rtContextQueryVariable")
    VESPRA_BIND(rtVariableSetObject, runtime, "rtVariableSetObject")
    VESPRA_BIND(rtVariableSet1f, runtime, "rtVariableSet1f")
    VESPRA_BIND(rtBufferCreate, runtime, "rtBufferCreate")
    VESPRA_BIND(rtBufferSetFormat, runtime, "rtBufferSetFormat")
    VESPRA_BIND(rtBufferSetSize2D, runtime, "rtBufferSetSize2D")
    VESPRA_BIND(rtBufferGetSize2D, runtime, "rtBufferGetSize2D")
    VESPRA_BIND(rtBufferMapEx, runtime, "rtBufferMapEx")
    VESPRA_BIND(rtBufferUnmapEx, runtime, "rtBufferUnmapEx")
    VESPRA_BIND(rtBufferDestroy, runtime, "rtBufferDestroy")
    VESPRA_BIND(rtPostProcessingStageCreateBuiltin, runtime, "rtPostProcessingStageCreateBuiltin")
    VESPRA_BIND(rtPostProcessingStageDeclareVariable, runtime, "rtPostProcessingStageDeclareVariable")
    VESPRA_BIND(rtPostProcessingStageQueryVariable, runtime, "rtPostProcessingStageQueryVariable")
    VESPRA_BIND(rtPostProcessingStageDestroy, runtime, "rtPostProcessingStageDestroy")
    VESPRA_BIND(rtCommandListCreate, runtime, "rtCommandListCreate")
    VESPRA_BIND(rtCommandListAppendPostprocessingStage, runtime, "rtCommandListAppendPostprocessingStage")
    VESPRA_BIND(rtCommandListFinalize, runtime, "rtCommandListFinalize")
    VESPRA_BIND(rtCommandListExecute, runtime, "rtCommandListExecute")
    VESPRA_BIND(rtCommandListDestroy, runtime, "rtCommandListDestroy")
    VESPRA_BIND(cuInit, driver, "cuInit")
    VESPRA_BIND(cuCtxGetCurrent, driver, "cuCtxGetCurrent")
    VESPRA_BIND(cuDeviceGet, driver, "cuDeviceGet")
    VESPRA_BIND(cuCtxCreate, driver, "cuCtxCreate_v2")
    VESPRA_BIND(cuMemGetInfo, driver, "cuMemGetInfo_v2")
#undef VESPRA_BIND
    return &api;
}

} // namespace

const Expected<const Api*>& getApi() {
    static const Expected<const Api*> api = loadApi();
    return api;
}

} // namespace Vespra::Optix
