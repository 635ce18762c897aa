#include "imaging/GpuLibraries.h"

#include <dlfcn.h>

#include "foundation/io/StandardPaths.h"

namespace Vespra {

String getMissingLibraryMessage(const String& name) {
    return String(u"Unable to load required DLLs. Please follow the provided link for more information and "
                  u"suggestions on how to fix this issue.\nMissing DLL: ") +
           name;
}

Expected<bool> loadLibraries(ArrayView<const char* const> names, const Io::Path& directory) {
    for (const char* name : names) {
        const std::string path =
            directory.std().empty() ? std::string(name) : (directory.std() / name).string();
        // Kept loaded for the life of the process, as the denoiser's functions are looked up in it.
        if (!dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL)) {
            return makeUnexpected(getMissingLibraryMessage(String::fromUtf8(name)));
        }
    }
    return true;
}

namespace {

bool isAnyLoaded(ArrayView<const char* const> names) {
    for (const char* name : names) {
        if (void* handle = dlopen(name, RTLD_NOW | RTLD_NOLOAD)) {
            dlclose(handle);
            return true;
        }
    }
    return false;
}

Expected<bool> loadGpuDenoiserLibraries() {
    Io::Path directory;
    if (!isAnyLoaded(GPU_DENOISER_LIBRARIES)) {
        directory = Io::StandardPaths::optixData().value_or(Io::Path());
    }
    Expected<bool> loaded = loadLibraries(GPU_DENOISER_LIBRARIES, directory);
    if (!loaded) {
        return loaded;
    }
    const char* const driver[] = {CUDA_DRIVER_LIBRARY};
    return loadLibraries(driver, Io::Path());
}

} // namespace

const Expected<bool>& checkGpuDenoiserLibraries() {
    static const Expected<bool> result = loadGpuDenoiserLibraries();
    return result;
}

void* findGpuSymbol(ArrayView<const char* const> names, const char* symbol) {
    for (const char* name : names) {
        if (void* handle = dlopen(name, RTLD_NOW | RTLD_NOLOAD)) {
            void* address = dlsym(handle, symbol);
            dlclose(handle);
            if (address) {
                return address;
            }
        }
    }
    return nullptr;
}

} // namespace Vespra
