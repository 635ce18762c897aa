#pragma once

#include "foundation/io/Streams.h"

namespace Vespra::Io {

/// Compresses what is written into the zlib format and passes it on to
/// `target`. A borrowed target goes in through `ForwardingOutputStream`.
class DeflateOutputStream : public BinaryOutputStream {
public:
    /// `level` from 0 (store) to 9 (smallest); -1 is zlib's default.
    explicit DeflateOutputStream(AutoPtr<BinaryOutputStream> target, int level = -1);
    /// Finishes the stream; call `finish` first to learn whether that worked.
    ~DeflateOutputStream() override;

    bool write(const void* data, std::size_t size) override;
    /// Makes everything written so far decodable by the reader, at a small cost
    /// in size.
    bool flush() override;
    /// Writes the end of the compressed data; nothing can be written after it.
    bool finish();

private:
    struct State;
    bool compress(const void* data, std::size_t size, int mode);

    AutoPtr<BinaryOutputStream> target;
    AutoPtr<State> state;
    bool failed = false;
};

/// Reads what `DeflateOutputStream` wrote. Damaged data ends the stream early,
/// with `good` false.
class InflateInputStream : public BinaryInputStream {
public:
    explicit InflateInputStream(AutoPtr<BinaryInputStream> source);
    ~InflateInputStream() override;

    std::size_t read(void* buffer, std::size_t size) override;
    bool eof() const override { return ended; }
    /// No damaged or cut off data met so far.
    bool good() const { return !failed; }

private:
    struct State;

    AutoPtr<BinaryInputStream> source;
    AutoPtr<State> state;
    bool ended = false;
    bool failed = false;
};

} // namespace Vespra::Io
