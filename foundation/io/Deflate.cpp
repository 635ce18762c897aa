#include "foundation/io/Deflate.h"

#include <array>

#include <zlib.h>

namespace Vespra::Io {

namespace {
constexpr std::size_t CHUNK = 1 << 16;
} // namespace

struct DeflateOutputStream::State {
    z_stream stream{};
    std::array<Bytef, CHUNK> buffer;
    bool finished = false;
};

DeflateOutputStream::DeflateOutputStream(AutoPtr<BinaryOutputStream> target, int level)
    : target(std::move(target)), state(makeAuto<State>()) {
    failed = deflateInit(&state->stream, level) != Z_OK;
}

DeflateOutputStream::~DeflateOutputStream() {
    finish();
    deflateEnd(&state->stream);
}

bool DeflateOutputStream::compress(const void* data, std::size_t size, int mode) {
    if (failed || state->finished) {
        return false;
    }
    z_stream& stream = state->stream;
    stream.next_in = static_cast<Bytef*>(const_cast<void*>(data));
    stream.avail_in = uInt(size);
    do {
        stream.next_out = state->buffer.data();
        stream.avail_out = uInt(CHUNK);
        const int result = deflate(&stream, mode);
        const std::size_t produced = CHUNK - stream.avail_out;
        failed |= result == Z_STREAM_ERROR || !target->write(state->buffer.data(), produced);
    } while (!failed && stream.avail_out == 0);
    return !failed;
}

bool DeflateOutputStream::write(const void* data, std::size_t size) {
    // zlib counts in 32 bits, so large blocks go in pieces.
    const auto* bytes = static_cast<const Bytef*>(data);
    for (std::size_t done = 0; done < size; done += CHUNK) {
        if (!compress(bytes + done, std::min(CHUNK, size - done), Z_NO_FLUSH)) {
            return false;
        }
    }
    return !failed;
}

bool DeflateOutputStream::flush() {
    return compress(nullptr, 0, Z_SYNC_FLUSH) && target->flush();
}

bool DeflateOutputStream::finish() {
    if (state->finished) {
        return !failed;
    }
    const bool finished = compress(nullptr, 0, Z_FINISH) && target->flush();
    state->finished = true;
    return finished;
}

struct InflateInputStream::State {
    z_stream stream{};
    std::array<Bytef, CHUNK> buffer;
};

InflateInputStream::InflateInputStream(AutoPtr<BinaryInputStream> source)
    : source(std::move(source)), state(makeAuto<State>()) {
    failed = inflateInit(&state->stream) != Z_OK;
    ended = failed;
}

InflateInputStream::~InflateInputStream() {
    inflateEnd(&state->stream);
}

std::size_t InflateInputStream::read(void* buffer, std::size_t size) {
    z_stream& stream = state->stream;
    stream.next_out = static_cast<Bytef*>(buffer);
    stream.avail_out = uInt(std::min(size, std::size_t(UINT32_MAX)));
    while (!ended && stream.avail_out > 0) {
        if (stream.avail_in == 0) {
            stream.next_in = state->buffer.data();
            stream.avail_in = uInt(source->read(state->buffer.data(), CHUNK));
        }
        const bool noInput = stream.avail_in == 0;
        const int result = inflate(&stream, Z_NO_FLUSH);
        if (result == Z_STREAM_END) {
            ended = true;
        } else if ((result != Z_OK && result != Z_BUF_ERROR) || (noInput && source->eof())) {
            // Damaged data, or the source ended before the compressed stream did.
            ended = failed = true;
        }
    }
    return std::size_t(static_cast<Bytef*>(stream.next_out) - static_cast<Bytef*>(buffer));
}

} // namespace Vespra::Io
