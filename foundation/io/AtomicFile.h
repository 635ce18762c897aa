#pragma once

#include "foundation/Optional.h"
#include "foundation/Pointers.h"
#include "foundation/io/Path.h"

namespace Vespra::Io {

/// Why `writeFileAtomically` failed.
struct FileWriteError {
    /// Names the file and the reason: Cannot write the file "/renders/a.vxr": No space left on device.
    String message;
    /// The reason alone, for callers that phrase their own message: what the writer answered, or
    /// the system's reason in its own words, told more plainly where the folder is at fault
    /// ("the folder "/renders" does not exist"). Without a final full stop.
    String reason;
    /// The `errno` of the system call that failed; 0 when the writer failed.
    int code = 0;
};

/// Fills the file at `temporary`, which exists and is empty; opening it by that name and
/// truncating it is fine. Answers a readable reason when it fails.
using FileWriter = Function<Expected<void>(const Path& temporary)>;

/// Writes `path` whole or not at all. `write` fills a temporary file beside `path` (in the same
/// folder, named ".NAME.XXXXXX.tmp"), which is then flushed to the disk and renamed over `path`;
/// the folder is synced last. Until the rename, `path` keeps its old contents byte for byte, and
/// a reader that has it open goes on reading them afterwards too. When anything fails (the
/// writer, a full disk, a missing folder, no permission) the temporary file is removed and the
/// old file stays as it was; an exception thrown by `write` is passed on after the same clean-up.
/// Only a process killed in the middle leaves its temporary file behind.
///
/// The new file gets the permissions (and, where allowed, the owner) of the file it replaces, or
/// those of any new file. A symbolic link stays a link: the file it points to is replaced. A file
/// that its user may not write is refused, as opening it for writing would refuse it.
Expected<void, FileWriteError> writeFileAtomically(const Path& path, const FileWriter& write);

/// The system's text for an `errno` value ("No space left on device"); thread safe.
String systemErrorText(int code);

} // namespace Vespra::Io
