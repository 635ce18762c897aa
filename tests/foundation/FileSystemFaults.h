#pragma once

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/io/Path.h"
#include "tests/foundation/TemporaryFolder.h"

/// Files that tests write, read and list, with nothing of the code under test in between.
namespace TestFiles {

inline void writeBytes(const Vespra::Io::Path& path, const std::string& bytes) {
    std::ofstream(path.std(), std::ios::binary) << bytes;
}

inline std::string readBytes(const Vespra::Io::Path& path) {
    std::ifstream file(path.std(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// The names of everything in `folder`, hidden files included, sorted.
inline std::vector<std::string> listNames(const Vespra::Io::Path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.std())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace TestFiles

/// A file system of `bytes` (tmpfs) mounted on a fresh folder and unmounted at the end, for
/// filling the disk. Mounting needs the superuser; `mounted()` is false when it could not be
/// made, and `whyNot()` says why.
class SmallFileSystem {
public:
    explicit SmallFileSystem(std::size_t bytes) : folder(parent.path() / Vespra::Io::Path(u"small")) {
        if (::geteuid() != 0) {
            reason = "mounting a small file system needs the superuser";
            return;
        }
        std::filesystem::create_directory(folder.std());
        const std::string options = "size=" + std::to_string(bytes);
        if (::mount("tmpfs", folder.std().c_str(), "tmpfs", 0, options.c_str()) != 0) {
            reason = std::string("mounting a tmpfs failed: ") + std::strerror(errno);
            return;
        }
        isMounted = true;
    }
    ~SmallFileSystem() {
        if (isMounted) {
            ::umount2(folder.std().c_str(), MNT_DETACH);
        }
    }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    bool mounted() const { return isMounted; }
    const std::string& whyNot() const { return reason; }
    const Vespra::Io::Path& path() const { return folder; }

private:
    TemporaryFolder parent;
    Vespra::Io::Path folder;
    bool isMounted = false;
    std::string reason;
};

/// Files of this process may not grow past `bytes` while it lives: a write beyond fails with
/// EFBIG ("File too large"), which lets a save fail half way without the superuser.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        // The limit also raises SIGXFSZ, which would end the process.
        previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &previous);
        rlimit limited = previous;
        limited.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, previousHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit previous{};
    void (*previousHandler)(int) = SIG_DFL;
};

/// Takes the right to change what is at `path` (a folder, or a file) from this thread while it
/// lives: its mode becomes read-only for everyone, and the superuser, whom modes do not stop,
/// acts as the user "nobody" for file access (`setfsuid`, which changes only the calling thread).
/// For "nobody" to reach `path`, its folder is opened to everyone for searching; that folder
/// must be a test's own. `works()` is false when writing is still possible anyway.
class WriteProtection {
public:
    static constexpr uid_t NOBODY = 65534;

    explicit WriteProtection(const Vespra::Io::Path& path) : path(path) {
        struct stat info {};
        ::stat(path.std().c_str(), &info);
        previousMode = info.st_mode & 07777;
        isFolder = S_ISDIR(info.st_mode);
        ::chmod(path.parentDirectory().std().c_str(), 0755);
        ::chmod(path.std().c_str(), isFolder ? 0555 : 0444);
        if (::geteuid() == 0) {
            ::setfsuid(NOBODY);
            changedUser = true;
        }
        protects = !writable();
    }
    ~WriteProtection() {
        if (changedUser) {
            ::setfsuid(0);
        }
        ::chmod(path.std().c_str(), previousMode);
    }
    WriteProtection(const WriteProtection&) = delete;
    WriteProtection& operator=(const WriteProtection&) = delete;

    bool works() const { return protects; }

private:
    /// Tries what a writer would try: a new file in the folder, or the file opened for writing.
    bool writable() const {
        if (!isFolder) {
            const int descriptor = ::open(path.std().c_str(), O_WRONLY | O_CLOEXEC);
            if (descriptor >= 0) {
                ::close(descriptor);
            }
            return descriptor >= 0;
        }
        const std::filesystem::path probe = path.std() / ".probe";
        const int descriptor = ::open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (descriptor >= 0) {
            ::close(descriptor);
            ::unlink(probe.c_str());
        }
        return descriptor >= 0;
    }

    Vespra::Io::Path path;
    mode_t previousMode = 0;
    bool isFolder = false;
    bool changedUser = false;
    bool protects = false;
};
