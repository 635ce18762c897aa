#pragma once

#include <cstddef>

#include "foundation/Optional.h"

// The entry points of the GPU denoiser runtime and the CUDA driver, looked up at run time once
// `checkGpuDenoiserLibraries` has loaded them; nothing links against them.
namespace Vespra::Optix {

using Result = int;
using Context = struct ContextApi*;
using Buffer = struct BufferApi*;
using Variable = struct VariableApi*;
using Object = void*;
using Stage = struct StageApi*;
using CommandList = struct CommandListApi*;
using UsageReportCallback = void (*)(int level, const char* tag, const char* message, void* data);

inline constexpr Result SUCCESS = 0;
inline constexpr unsigned BUFFER_INPUT_OUTPUT = 3;
inline constexpr int FORMAT_FLOAT4 = 260;
inline constexpr unsigned MAP_WRITE_DISCARD = 8;
/// The runtime version the adaptor is written for.
inline constexpr unsigned EXPECTED_VERSION = 50102;

struct Api {
    Result (*rtGetVersion)(unsigned*);
    Result (*rtContextCreate)(Context*);
    Result (*rtContextDestroy)(Context);
    Result (*rtContextGetErrorString)(Context, Result, const char**);
    Result (*rtContextSetUsageReportCallback)(Context, UsageReportCallback, int, void*);
    Result (*rtContextDeclareVariable)(Context, const char*, Variable*);
    Result (*rtContextQueryVariable)(Context, const char*, Variable*);
    Result (*rtVariableSetObject)(Variable, Object);
    Result (*rtVariableSet1f)(Variable, float);
    Result (*rtBufferCreate)(Context, unsigned, Buffer*);
    Result (*rtBufferSetFormat)(Buffer, int);
    Result (*rtBufferSetSize2D)(Buffer, std::size_t, std::size_t);
    Result (*rtBufferGetSize2D)(Buffer, std::size_t*, std::size_t*);
    Result (*rtBufferMapEx)(Buffer, unsigned, unsigned, void*, void**);
    Result (*rtBufferUnmapEx)(Buffer, unsigned);
    Result (*rtBufferDestroy)(Buffer);
    Result (*rtPostProcessingStageCreateBuiltin)(Context, const char*, void*, void*, Stage*);
    Result (*rtPostProcessingStageDeclareVariable)(Stage, const char*, Variable*);
    Result (*rtPostProcessingStageQueryVariable)(Stage, const char*, Variable*);
    Result (*rtPostProcessingStageDestroy)(Stage);
    Result (*rtCommandListCreate)(Context, CommandList*);
    Result (*rtCommandListAppendPostprocessingStage)(CommandList, Stage, unsigned, unsigned);
    Result (*rtCommandListFinalize)(CommandList);
    Result (*rtCommandListExecute)(CommandList);
    Result (*rtCommandListDestroy)(CommandList);

    int (*cuInit)(unsigned);
    int (*cuCtxGetCurrent)(void**);
    int (*cuDeviceGet)(int*, int);
    int (*cuCtxCreate)(void**, unsigned, int);
    int (*cuMemGetInfo)(std::size_t*, std::size_t*);
};

/// The entry points, or the message of the library check or of a missing symbol.
const Expected<const Api*>& getApi();

} // namespace Vespra::Optix
