#include "imaging/OptixDenoiser.h"

#include <cstring>

#include <fmt/format.h>

#include "foundation/FastMath.h"
#include "foundation/ParallelFor.h"
#include "foundation/Timer.h"
#include "imaging/OptixApi.h"

namespace Vespra {

namespace Optix {

String versionText(unsigned version) {
    return String::fromUtf8(fmt::format("{}.{}.{}", version / 10000, (version % 10000) / 100, version % 100));
}

String cudaMemoryErrorText(int code) {
    switch (code) {
    case 1:
        return u"CUDA error: Invalid value";
    case 3:
        return u"CUDA error: Not initialized";
    case 4:
        return u"CUDA error: Deinitialized";
    case 201:
        return u"CUDA error: Invalid context";
    default:
        return u"CUDA error: Unknown error";
    }
}

String errorReport(const Expected<unsigned>& runningVersion, const String& text, bool& mismatchReported) {
    if (runningVersion && *runningVersion != EXPECTED_VERSION && !mismatchReported) {
        mismatchReported = true;
        return String(u"Version mismatch detected in NVIDIA AI Denoiser, most likely caused by other render "
                      u"engine "
                      u"loading different OptiX DLLs. Please report this to Vespra support.\n\nRunning "
                      u"version: ") +
               versionText(*runningVersion) + u", expected version: " + versionText(EXPECTED_VERSION) +
               u"\n" + HELP_LINK;
    }
    const String details = runningVersion ? text : runningVersion.error() + u"\n" + text;
    return String(u"Internal error in NVIDIA AI Denoiser. Please report this to Vespra support with this "
                  u"info:\n\n") +
           details;
}

namespace {

template <class Convert>
void convertPixels(const Rgb* pixels, float* buffer, std::size_t count, Convert&& convert) {
    parallelForRange(Scheduler::highPriorityInstance(), 0, int(count), 10, [&](int first, int end) {
        for (int i = first; i < end; ++i) {
            convert(Float4::load(&pixels[i].r)).storeUnaligned(buffer + 4 * std::size_t(i));
        }
    });
}

std::size_t pixelCount(const BitmapImpl<Rgb>& image) {
    return std::size_t(image.width()) * std::size_t(image.height());
}

} // namespace

void encodeImage(const BitmapImpl<Rgb>& image, float* buffer) {
    convertPixels(image.data(), buffer, pixelCount(image),
                  [](Float4 v) { return powApprox(max(v, Float4(0.f)), Float4(0.45454544f)); });
}

void encodeGuide(const BitmapImpl<Rgb>& image, float* buffer) {
    convertPixels(image.data(), buffer, pixelCount(image), [](Float4 v) { return max(v, Float4(0.f)); });
}

BitmapImpl<Rgb> decodeImage(const float* buffer, int width, int height) {
    BitmapImpl<Rgb> image(width, height);
    Rgb* pixels = image.data();
    parallelForRange(Scheduler::highPriorityInstance(), 0, width * height, 10, [&](int first, int end) {
        for (int i = first; i < end; ++i) {
            const Float4 v = Float4::loadUnaligned(buffer + 4 * std::size_t(i));
            powApprox(max(v, Float4(0.f)), Float4(2.2f)).store(&pixels[i].r);
        }
    });
    return image;
}

} // namespace Optix

namespace {

/// A failure of the runtime, with the context's text for it.
class OptixError : public Exception {
    using Exception::Exception;
};

enum BufferVariable { INPUT_BUFFER, OUTPUT_BUFFER, INPUT_NORMAL_BUFFER, INPUT_ALBEDO_BUFFER, BUFFER_COUNT };
constexpr const char* BUFFER_VARIABLE_NAMES[] = {"input_buffer", "output_buffer", "input_normal_buffer",
                                                 "input_albedo_buffer"};

} // namespace

/// The runtime's objects, made and destroyed on the denoiser's thread, in reverse order.
class OptixDenoiser::OptixContext {
public:
    OptixContext(const Optix::Api& api, SharedPtr<Abstract::Logger> logger, int width, int height)
        : api(api), logger(std::move(logger)) {
        check(api.rtContextCreate(&context));
        check(api.rtContextSetUsageReportCallback(context, &OptixContext::forwardReport, 1, this),
              u"Cannot set report callback: \n");
        for (int i = 0; i < BUFFER_COUNT; ++i) {
            check(api.rtBufferCreate(context, Optix::BUFFER_INPUT_OUTPUT, &buffers[i]));
            check(api.rtBufferSetFormat(buffers[i], Optix::FORMAT_FLOAT4));
            check(api.rtBufferSetSize2D(buffers[i], std::size_t(width), std::size_t(height)));
            Optix::Variable variable = nullptr;
            check(api.rtContextDeclareVariable(context, BUFFER_VARIABLE_NAMES[i], &variable));
            check(api.rtVariableSetObject(variable, buffers[i]));
        }
        check(api.rtPostProcessingStageCreateBuiltin(context, "DLDenoiser", nullptr, nullptr, &stage));
        check(api.rtCommandListCreate(context, &commands));
        check(api.rtCommandListAppendPostprocessingStage(commands, stage, unsigned(width), unsigned(height)));
        check(api.rtCommandListFinalize(commands));
    }

    ~OptixContext() {
        if (commands) {
            api.rtCommandListDestroy(commands);
        }
        if (stage) {
            api.rtPostProcessingStageDestroy(stage);
        }
        for (Optix::Buffer buffer : buffers) {
            if (buffer) {
                api.rtBufferDestroy(buffer);
            }
        }
        if (context) {
            api.rtContextDestroy(context);
        }
    }

    /// Maps the buffer, lets `write` fill its floats, unmaps.
    template <class Write>
    void upload(BufferVariable variable, const BitmapImpl<Rgb>& image, Write&& write) {
        checkSize(variable, image);
        void* mapped = nullptr;
        check(api.rtBufferMapEx(buffers[variable], Optix::MAP_WRITE_DISCARD, 0, nullptr, &mapped));
        write(image, static_cast<float*>(mapped));
        check(api.rtBufferUnmapEx(buffers[variable], 0));
    }

    BitmapImpl<Rgb> download(int width, int height) {
        void* mapped = nullptr;
        check(api.rtBufferMapEx(buffers[OUTPUT_BUFFER], 1, 0, nullptr, &mapped));
        BitmapImpl<Rgb> image = Optix::decodeImage(static_cast<const float*>(mapped), width, height);
        check(api.rtBufferUnmapEx(buffers[OUTPUT_BUFFER], 0));
        return image;
    }

    void setMemoryLimit(float bytes) {
        Optix::Variable variable = nullptr;
        check(api.rtPostProcessingStageQueryVariable(stage, "maxmem", &variable));
        if (!variable) {
            check(api.rtPostProcessingStageDeclareVariable(stage, "maxmem", &variable));
        }
        check(api.rtVariableSet1f(variable, bytes));
    }

    void execute() { check(api.rtCommandListExecute(commands)); }

    void check(Optix::Result result, const String& prefix = {}) const {
        if (result == Optix::SUCCESS) {
            return;
        }
        const char* text = nullptr;
        api.rtContextGetErrorString(context, result, &text);
        throw OptixError(prefix + String::fromUtf8(text ? text : "unknown error"));
    }

private:
    void checkSize(BufferVariable variable, const BitmapImpl<Rgb>& image) const {
        std::size_t width = 0, height = 0;
        check(api.rtBufferGetSize2D(buffers[variable], &width, &height),
              u"Cannot obtain the buffer size.\n ");
        if (width != std::size_t(image.width()) || height != std::size_t(image.height())) {
            throw OptixError(u"The image size differs from the size of the denoiser's buffers.");
        }
    }

    static void forwardReport(int, const char*, const char* message, void* data) {
        auto* self = static_cast<OptixContext*>(data);
        if (self->logger && message) {
            self->logger->log(String::fromUtf8(message), LogLevel::INFO);
        }
    }

    const Optix::Api& api;
    SharedPtr<Abstract::Logger> logger;
    Optix::Context context = nullptr;
    Optix::Buffer buffers[BUFFER_COUNT] = {};
    Optix::Stage stage = nullptr;
    Optix::CommandList commands = nullptr;
};

OptixDenoiser::OptixDenoiser(SharedPtr<Abstract::Logger> logger, DenoisingData&& data)
    : logger(std::move(logger)) {
    thread.configure(0, u"OptixDenoiser");
    const Expected<const Optix::Api*>& api = Optix::getApi();
    if (!api) {
        throw Exception(api.error());
    }
    auto shared = makeShared<DenoisingData>(std::move(data));
    thread.invoke([this, shared] { initialize(*shared); }, false);
}

OptixDenoiser::~OptixDenoiser() {
    thread.waitForThis();
    thread.invoke([this] { impl.reset(); }, true);
}

void OptixDenoiser::initialize(DenoisingData& data) {
    try {
        FeatureBuffers* albedo = data.findFeature(FeatureType::VISIBLE_DIFFUSE);
        FeatureBuffers* normals = data.findFeature(FeatureType::OPTIX_NORMALS);
        if (!albedo || !normals) {
            throw OptixError(u"The albedo or the normals are missing.");
        }
        impl =
            makeAuto<OptixContext>(**Optix::getApi(), logger, normals->mean.width(), normals->mean.height());
        impl->upload(INPUT_ALBEDO_BUFFER, albedo->mean, Optix::encodeGuide);
        impl->upload(INPUT_NORMAL_BUFFER, normals->mean, Optix::encodeGuide);
    } catch (const Exception& error) {
        impl.reset();
        report(String(u"Failed to initialize the denoiser.\n") + error.getMessage());
    }
}

void OptixDenoiser::filter(Optional<BitmapImpl<Rgb>>& result, BitmapImpl<Rgb>&& image, BitmapImpl<Rgb>&&,
                           const ElementType&, Function<bool(float)>&& progress) {
    result.reset();
    progress = nullptr;
    const BitmapImpl<Rgb> colour = std::move(image);
    thread.waitForThis();
    thread.invoke([&] { result = denoise(colour); }, true);
}

Optional<BitmapImpl<Rgb>> OptixDenoiser::denoise(const BitmapImpl<Rgb>& image) {
    if (!impl) {
        return {};
    }
    try {
        const Timer timer;
        impl->upload(INPUT_BUFFER, image, Optix::encodeImage);
        const Optix::Api& api = **Optix::getApi();
        if (api.cuInit(0) != 0) {
            throw OptixError(u"Cannot initialize the CUDA driver");
        }
        void* cudaContext = nullptr;
        if (api.cuCtxGetCurrent(&cudaContext) != 0) {
            throw OptixError(u"Cannot obtain CUDA context");
        }
        if (!cudaContext) {
            int device = 0;
            if (api.cuDeviceGet(&device, 0) != 0) {
                throw OptixError(u"Cannot obtain the CUDA device");
            }
            if (api.cuCtxCreate(&cudaContext, 0, device) != 0) {
                throw OptixError(u"Cannot create the CUDA context");
            }
        }
        std::size_t freeBytes = 0, totalBytes = 0;
        if (const int code = api.cuMemGetInfo(&freeBytes, &totalBytes); code != 0) {
            throw OptixError(Optix::cudaMemoryErrorText(code));
        }
        impl->setMemoryLimit(float(freeBytes) * 0.8f);
        impl->execute();
        BitmapImpl<Rgb> result = impl->download(image.width(), image.height());
        if (logger) {
            logger->log(String::fromUtf8(fmt::format("GPU denoising took {} ms", timer.getElapsed())),
                        LogLevel::INFO);
        }
        return result;
    } catch (const Exception& error) {
        report(String(u"Error encountered during denoising.\n") + error.getMessage());
        return {};
    }
}

void OptixDenoiser::report(const String& text) {
    static bool mismatchReported = false;
    Expected<unsigned> version = makeUnexpected(u"Cannot obtain optix version");
    if (const Expected<const Optix::Api*>& api = Optix::getApi()) {
        unsigned number = 0;
        if ((*api)->rtGetVersion(&number) == Optix::SUCCESS) {
            version = number;
        }
    }
    if (logger) {
        logger->log(Optix::errorReport(version, text, mismatchReported), LogLevel::ERROR);
    }
}

} // namespace Vespra
