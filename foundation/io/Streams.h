#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "foundation/Flags.h"
#include "foundation/Pointers.h"
#include "foundation/io/Path.h"

namespace Vespra::Io {

/// A source of bytes.
class BinaryInputStream : public Polymorphic {
public:
    /// Reads up to `size` bytes and answers how many it read; fewer only at the end or on an error.
    virtual std::size_t read(void* buffer, std::size_t size) = 0;
    /// True once a read has reached the end.
    virtual bool eof() const = 0;
};

/// A sink of bytes.
class BinaryOutputStream : public Polymorphic {
public:
    /// Answers false when not all bytes could be written.
    virtual bool write(const void* data, std::size_t size) = 0;
    /// Pushes buffered bytes on; answers false when that failed.
    virtual bool flush() { return true; }
};

namespace Detail {
struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = AutoPtr<std::FILE, FileCloser>;
} // namespace Detail

class FileInputStream : public BinaryInputStream {
public:
    explicit FileInputStream(const Path& path);

    bool isOpen() const { return file != nullptr; }
    /// Open, and no read has failed.
    bool good() const { return file && !std::ferror(file.get()); }

    std::size_t read(void* buffer, std::size_t size) override;
    bool eof() const override { return !file || std::feof(file.get()); }

    /// Moves to `position` bytes from the start and clears the end state; false when that failed.
    bool seek(std::uint64_t position);
    /// The position in bytes from the start; 0 when the file is not open.
    std::uint64_t tell() const;

private:
    Detail::FileHandle file;
};

enum class OutputFlag : unsigned {
    /// Writes after the existing contents instead of truncating the file.
    APPEND = 1 << 0,
};

class FileOutputStream : public BinaryOutputStream {
public:
    explicit FileOutputStream(const Path& path, Flags<OutputFlag> flags = {});
    /// Closes the file; call `close` first to learn whether the last bytes reached the disk.
    ~FileOutputStream() override;

    bool isOpen() const { return file != nullptr; }
    /// Open, and nothing has failed so far.
    bool good() const { return file && !failed; }

    bool write(const void* data, std::size_t size) override;
    bool flush() override;
    /// Answers false when anything failed since opening, the final flush included (a full disk).
    bool close();

    /// Moves to `position` bytes from the start, so that writers can fill in what they left
    /// blank (a table of offsets); false when that failed.
    bool seek(std::uint64_t position);
    /// The position in bytes from the start; 0 when the file is not open.
    std::uint64_t tell() const;

private:
    Detail::FileHandle file;
    bool failed = false;
};

/// Bytes held in memory.
class MemoryInputStream : public BinaryInputStream {
public:
    explicit MemoryInputStream(std::string bytes) : bytes(std::move(bytes)) {}

    std::size_t read(void* buffer, std::size_t size) override;
    bool eof() const override { return reachedEnd; }

private:
    std::string bytes;
    std::size_t position = 0;
    bool reachedEnd = false;
};

class MemoryOutputStream : public BinaryOutputStream {
public:
    bool write(const void* data, std::size_t size) override;
    const std::string& contents() const { return bytes; }

private:
    std::string bytes;
};

/// Passes everything to a stream owned elsewhere, which must outlive this one. Lets a wrapper
/// that owns its inner stream work on a borrowed one.
class ForwardingInputStream : public BinaryInputStream {
public:
    explicit ForwardingInputStream(BinaryInputStream& target) : target(target) {}

    std::size_t read(void* buffer, std::size_t size) override { return target.read(buffer, size); }
    bool eof() const override { return target.eof(); }

private:
    BinaryInputStream& target;
};

class ForwardingOutputStream : public BinaryOutputStream {
public:
    explicit ForwardingOutputStream(BinaryOutputStream& target) : target(target) {}

    bool write(const void* data, std::size_t size) override { return target.write(data, size); }
    bool flush() override { return target.flush(); }

private:
    BinaryOutputStream& target;
};

} // namespace Vespra::Io
