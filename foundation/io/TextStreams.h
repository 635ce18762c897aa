#pragma once

#include <string>

#include "foundation/Optional.h"
#include "foundation/io/Streams.h"

namespace Vespra::Io {

/// Reads a whole text file and hands it out line by line. The encoding is found from the bytes:
/// UTF-16 LE or BE by their byte order mark, or without one by the zero bytes that ASCII text
/// leaves at every other place; UTF-8 otherwise, with or without its mark. Invalid sequences
/// become U+FFFD; zero bytes stay as characters, so binary files read without harm.
class TextInputStream {
public:
    explicit TextInputStream(const Path& path);
    static TextInputStream fromBytes(std::string bytes);

    /// False when the file could not be read; `errorMessage` says why.
    bool isOpen() const { return opened; }
    const String& errorMessage() const { return error; }

    /// The next line without its "\n", "\r\n" or "\r"; empty at the end. A line break at the very
    /// end does not start another line.
    Optional<String> readLine();
    /// Everything not read yet.
    String readAll();

private:
    TextInputStream() = default;

    String text;
    int position = 0;
    bool opened = false;
    String error;
};

/// Writes UTF-8 without a byte order mark.
class TextOutputStream {
public:
    TextOutputStream() = default;
    static TextOutputStream toMemory();

    /// Creates or truncates the file (appends with `OutputFlag::APPEND`).
    bool open(const Path& path, Flags<OutputFlag> flags = {});
    bool isOpen() const { return opened; }

    bool write(const String& text);
    bool flush();
    /// Answers false when anything failed since opening, e.g. a full disk.
    bool close();

    /// What a stream from `toMemory` holds, also after closing; empty for other streams.
    std::string memoryContents() const;

private:
    BinaryOutputStream* sink() const;

    AutoPtr<FileOutputStream> file;
    AutoPtr<MemoryOutputStream> memory;
    bool opened = false;
    bool failed = false;
};

} // namespace Vespra::Io
