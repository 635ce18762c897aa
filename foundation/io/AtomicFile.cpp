#include "foundation/io/AtomicFile.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "foundation/Str.h"

namespace Vespra::Io {

namespace fs = std::filesystem;

namespace {

/// The most bytes of the target's name that go into the temporary name, which must stay within
/// the 255 bytes that file systems allow for a name.
constexpr std::size_t MAX_NAME_BYTES = 200;
constexpr std::string_view TEMPORARY_SUFFIX = ".tmp";

/// Closes a descriptor when it goes out of scope, unless it was closed before.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor(descriptor) {}
    ~Descriptor() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return descriptor; }
    /// Answers the `errno` of a failed close (some file systems report late write errors here), or 0.
    int close() {
        const int result = ::close(descriptor);
        descriptor = -1;
        return result == 0 ? 0 : errno;
    }

private:
    int descriptor;
};

/// Removes the temporary file on every way out but a successful rename, thrown exceptions included.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string path) : path(std::move(path)) {}
    ~TemporaryFile() {
        if (!path.empty()) {
            ::unlink(path.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& get() const { return path; }
    void keep() { path.clear(); }

private:
    std::string path;
};

/// The process's file creation mask, read without setting it: `umask` cannot be asked without
/// changing it for every thread of the process for a moment.
mode_t currentUmask() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.starts_with("Umask:")) {
            return mode_t(std::strtoul(line.c_str() + 6, nullptr, 8));
        }
    }
    return 022;
}

/// "FOLDER/.NAME.XXXXXX.tmp", the name cut (between UTF-8 characters) when it is very long.
std::string temporaryTemplate(const fs::path& folder, const fs::path& target) {
    std::string name = target.filename().native();
    if (name.size() > MAX_NAME_BYTES) {
        std::size_t cut = MAX_NAME_BYTES;
        while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) {
            --cut;
        }
        name.resize(cut);
    }
    return (folder / ("." + name + ".XXXXXX")).native() + std::string(TEMPORARY_SUFFIX);
}

/// Symbolic links stay: what they point to is replaced.
fs::path resolveLink(const fs::path& path) {
    std::error_code error;
    if (!fs::is_symlink(path, error)) {
        return path;
    }
    const fs::path resolved = fs::weakly_canonical(path, error);
    return error ? path : resolved;
}

enum class Step { CREATE, REPLACE, OTHER };

/// The system's reason, told in terms of the folder where the folder is at fault.
String describe(int code, Step step, const Path& folder) {
    const bool missingFolder = code == ENOENT || code == ENOTDIR;
    if (step == Step::CREATE && missingFolder) {
        return Str::getFormatted("the folder \"{}\" does not exist", folder);
    }
    if (step != Step::OTHER && (code == EACCES || code == EPERM)) {
        return Str::getFormatted("no permission to write in the folder \"{}\"", folder);
    }
    return systemErrorText(code);
}

std::unexpected<FileWriteError> failure(const Path& path, String reason, int code) {
    reason = reason.trim();
    while (reason.endsWith(u".")) {
        reason.erase(reason.length() - 1);
    }
    String message = Str::getFormatted("Cannot write the file \"{}\": {}.", path, reason);
    return std::unexpected<FileWriteError>(FileWriteError{std::move(message), std::move(reason), code});
}

/// Gives the new file the permissions and, where the system allows it, the owner of the one it
/// replaces; a new file gets what any new file would.
void setOwnerAndMode(int descriptor, const struct stat* replaced) {
    if (!replaced) {
        ::fchmod(descriptor, 0666 & ~currentUmask());
        return;
    }
    // Only the superuser may give a file away; anyone else keeps it, which is what a new file
    // would get too. The owner goes first, as changing it clears the set-id bits.
    if (::fchown(descriptor, replaced->st_uid, replaced->st_gid) != 0 &&
        ::fchown(descriptor, uid_t(-1), replaced->st_gid) != 0) {
        // Neither is allowed: the file stays the writer's, in the writer's group.
    }
    ::fchmod(descriptor, replaced->st_mode & 07777);
}

} // namespace

String systemErrorText(int code) {
    return String::fromUtf8(std::generic_category().message(code));
}

Expected<void, FileWriteError> writeFileAtomically(const Path& path, const FileWriter& write) {
    const fs::path target = resolveLink(path.std());
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    const Path shownFolder = path.parentDirectory().isEmpty() ? Path(u".") : path.parentDirectory();

    struct stat existing {};
    const bool replacing = ::stat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode);
    if (replacing && ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) {
        if (const int code = errno; code == EACCES || code == EPERM) {
            return failure(path, systemErrorText(code), code);
        }
    }

    std::string name = temporaryTemplate(folder, target);
    const int created = ::mkostemps(name.data(), int(TEMPORARY_SUFFIX.size()), O_CLOEXEC);
    if (created < 0) {
        const int code = errno;
        return failure(path, describe(code, Step::CREATE, shownFolder), code);
    }
    Descriptor descriptor(created);
    TemporaryFile temporary(std::move(name));

    if (Expected<void> written = write(Path(fs::path(temporary.get()))); !written) {
        return failure(path, written.error(), 0);
    }
    // The descriptor reaches the same file as whatever the writer opened, so syncing it syncs
    // what the writer wrote.
    setOwnerAndMode(descriptor.get(), replacing ? &existing : nullptr);
    if (::fsync(descriptor.get()) != 0) {
        const int code = errno;
        return failure(path, describe(code, Step::OTHER, shownFolder), code);
    }
    if (const int code = descriptor.close(); code != 0) {
        return failure(path, describe(code, Step::OTHER, shownFolder), code);
    }
    if (::rename(temporary.get().c_str(), target.c_str()) != 0) {
        const int code = errno;
        return failure(path, describe(code, Step::REPLACE, shownFolder), code);
    }
    temporary.keep();

    // Makes the rename itself last. The new file is in place by now, so a folder that cannot be
    // synced (some file systems refuse) does not turn the save into a failure.
    if (const int folderDescriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        folderDescriptor >= 0) {
        Descriptor opened(folderDescriptor);
        ::fsync(opened.get());
    }
    return {};
}

} // namespace Vespra::Io
