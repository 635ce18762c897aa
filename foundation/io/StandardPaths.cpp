#include "foundation/io/StandardPaths.h"

#include <cstdlib>

#include "foundation/Str.h"
#include "foundation/io/Files.h"

namespace Vespra {

namespace fs = std::filesystem;

Expected<Io::Path> Utils::getExecutableFilePath() {
    std::error_code error;
    fs::path executable = fs::read_symlink("/proc/self/exe", error);
    if (error) {
        return makeUnexpected(Str::getFormatted("Cannot find the running program: {}.", error.message()));
    }
    return Io::Path(std::move(executable));
}

namespace Io {

namespace {

Expected<Path> existingDirectory(const Path& directory) {
    if (!dirExists(directory)) {
        return makeUnexpected(Str::getFormatted("The folder '{}' does not exist.", directory));
    }
    return directory;
}

Expected<Path> dataDirectoryBeside(const Path& executable) {
    const Path installed = executable.parentDirectory().parentDirectory() / u"share/vespra";
    if (dirExists(installed)) {
        return installed;
    }
    for (Path folder = executable.parentDirectory(); !folder.isEmpty(); folder = folder.parentDirectory()) {
        if (dirExists(folder / u"resources")) {
            return folder / u"resources";
        }
        if (folder == folder.parentDirectory()) {
            break;
        }
    }
    return makeUnexpected(Str::getFormatted(
        "Cannot find the program's data: neither '{}' nor a 'resources' folder above '{}' exists.", installed,
        executable.parentDirectory()));
}

Expected<Path> dataSubdirectory(const String& name) {
    const Expected<Path> data = StandardPaths::dataDirectory();
    return data ? existingDirectory(*data / name) : data;
}

} // namespace

Expected<Path> StandardPaths::temporary() {
    std::error_code error;
    fs::path directory = fs::temp_directory_path(error);
    if (error) {
        return makeUnexpected(
            Str::getFormatted("Cannot find the folder for temporary files: {}.", error.message()));
    }
    return Path(std::move(directory));
}

Expected<Path> StandardPaths::dataDirectory() {
    if (const char* fromEnvironment = std::getenv("VESPRA_DATA_DIR"); fromEnvironment && *fromEnvironment) {
        return existingDirectory(Path(String::fromUtf8(fromEnvironment)));
    }
    const Expected<Path> executable = Utils::getExecutableFilePath();
    return executable ? dataDirectoryBeside(*executable) : executable;
}

Expected<Path> StandardPaths::lutBundle() {
    return dataSubdirectory(u"luts");
}

Expected<Path> StandardPaths::optixData() {
    return dataSubdirectory(u"optix");
}

} // namespace Io
} // namespace Vespra
