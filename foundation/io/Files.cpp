#include "foundation/io/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/Str.h"

namespace Vespra::Io {

namespace fs = std::filesystem;

namespace {

std::unexpected<String> failure(const String& action, const Path& path, const std::error_code& error) {
    return makeUnexpected(Str::getFormatted("Cannot {} '{}': {}.", action, path, error.message()));
}

template <class Iterator>
Stack<Path> listEntries(const Path& directory, bool wantDirectories) {
    Stack<Path> entries;
    std::error_code error;
    Iterator iterator(directory.std(), fs::directory_options::skip_permission_denied, error);
    for (; !error && iterator != Iterator(); iterator.increment(error)) {
        std::error_code typeError;
        if (iterator->is_directory(typeError) == wantDirectories) {
            entries.push(Path(iterator->path()));
        }
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

/// ".ext", or nothing for no extension.
std::string dottedExtension(const String& extension) {
    std::string dotted;
    if (!extension.isEmpty()) {
        dotted.append(1, '.').append(extension.toUtf8());
    }
    return dotted;
}

Stack<Path> list(const Path& directory, Flags<ListFlag> flags, bool wantDirectories) {
    if (flags.has(ListFlag::RECURSIVE)) {
        return listEntries<fs::recursive_directory_iterator>(directory, wantDirectories);
    }
    return listEntries<fs::directory_iterator>(directory, wantDirectories);
}

} // namespace

bool fileExists(const Path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path.std(), error);
    return fs::exists(status) && !fs::is_directory(status);
}

bool dirExists(const Path& path) {
    std::error_code error;
    return fs::is_directory(path.std(), error);
}

bool fileIsEmptyOrNonExistent(const Path& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path.std(), error);
    return error || size == 0;
}

Stack<Path> getFiles(const Path& directory, Flags<ListFlag> flags) {
    return list(directory, flags, false);
}

Stack<Path> getDirs(const Path& directory, Flags<ListFlag> flags) {
    return list(directory, flags, true);
}

Expected<void> createDirs(const Path& directory) {
    std::error_code error;
    fs::create_directories(directory.std(), error);
    if (error) {
        return failure(u"create the directory", directory, error);
    }
    return {};
}

Expected<void> copyFile(const Path& from, const Path& to) {
    std::error_code error;
    fs::copy_file(from.std(), to.std(), fs::copy_options::overwrite_existing, error);
    if (error) {
        return failure(u"copy the file", from, error);
    }
    return {};
}

Expected<void> moveFile(const Path& from, const Path& to) {
    std::error_code error;
    fs::rename(from.std(), to.std(), error);
    if (error == std::errc::cross_device_link) {
        const Expected<void> copied = copyFile(from, to);
        return copied ? removeFile(from) : copied;
    }
    if (error) {
        return failure(u"move the file", from, error);
    }
    return {};
}

Expected<void> removeFile(const Path& path) {
    std::error_code error;
    fs::remove(path.std(), error);
    if (error) {
        return failure(u"remove the file", path, error);
    }
    return {};
}

Path changeExtension(const Path& path, const String& extension) {
    fs::path changed = path.std();
    changed.replace_extension(dottedExtension(extension));
    return Path(std::move(changed));
}

Expected<Path> createRandomNamedFile(const Path& directory, const String& prefix, const String& extension) {
    const std::string suffix = dottedExtension(extension);
    std::string name = (directory / Path(prefix + u"XXXXXX")).std().native() + suffix;
    const int descriptor = mkstemps(name.data(), int(suffix.size()));
    if (descriptor < 0) {
        return makeUnexpected(
            Str::getFormatted("Cannot create a file in '{}': {}.", directory, std::strerror(errno)));
    }
    close(descriptor);
    return Path(fs::path(name));
}

Optional<std::int64_t> getFileTimeStamp(const Path& path) {
    struct stat info {};
    if (stat(path.std().c_str(), &info) != 0) {
        return {};
    }
    return std::int64_t(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
}

Optional<std::uint64_t> fileId(const Path& path) {
    struct stat info {};
    if (stat(path.std().c_str(), &info) != 0) {
        return {};
    }
    // The device goes through an odd multiplier and the inode stays as it is, so two inodes
    // of one device can never meet.
    return std::uint64_t(info.st_ino) ^ (std::uint64_t(info.st_dev) * 0x9E3779B97F4A7C15ull);
}

} // namespace Vespra::Io
