#pragma once

#include <cstdint>

#include "foundation/Containers.h"
#include "foundation/Flags.h"
#include "foundation/Optional.h"
#include "foundation/io/Path.h"

namespace Vespra::Io {

enum class ListFlag : unsigned {
    /// Also lists what is inside the subdirectories, at any depth.
    RECURSIVE = 1 << 0,
};

/// Every function here answers failures in its result and never throws.

/// True for an existing file that is not a directory (symbolic links are followed).
bool fileExists(const Path& path);
bool dirExists(const Path& path);
bool fileIsEmptyOrNonExistent(const Path& path);

/// The files (not directories) in `directory`, each as `directory / name`, sorted. Empty when the
/// directory cannot be read.
Stack<Path> getFiles(const Path& directory, Flags<ListFlag> flags = {});
/// The subdirectories of `directory`, each as `directory / name`, sorted.
Stack<Path> getDirs(const Path& directory, Flags<ListFlag> flags = {});

/// Creates the directory and its missing parents; succeeds when it already exists.
Expected<void> createDirs(const Path& directory);
/// Overwrites `to` when it exists.
Expected<void> copyFile(const Path& from, const Path& to);
/// Renames, or copies and removes when `to` lies on another file system.
Expected<void> moveFile(const Path& from, const Path& to);
/// Succeeds when the file is gone afterwards, also when it never existed.
Expected<void> removeFile(const Path& path);

/// The path with the extension replaced by `extension` (given without the dot); an empty
/// `extension` removes it.
Path changeExtension(const Path& path, const String& extension);

/// Creates a new empty file named `prefix`, six random characters and `.extension` (no dot
/// when `extension` is empty), never reusing an existing name.
Expected<Path> createRandomNamedFile(const Path& directory, const String& prefix, const String& extension);

/// The last modification time in nanoseconds since the Unix epoch.
Optional<std::int64_t> getFileTimeStamp(const Path& path);

/// Identifies the file itself rather than its name: two names of one file (hard or symbolic
/// links) give the same id. Mixes the device and the inode, so ids of files on one device
/// never collide.
Optional<std::uint64_t> fileId(const Path& path);

} // namespace Vespra::Io
