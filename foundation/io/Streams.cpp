#include "foundation/io/Streams.h"

#include <algorithm>
#include <cstring>

namespace Vespra::Io {

namespace {

Detail::FileHandle openFile(const Path& path, const char* mode) {
    return Detail::FileHandle(std::fopen(path.std().c_str(), mode));
}

bool seekFile(std::FILE* file, std::uint64_t position) {
    return file && position <= std::uint64_t(INT64_MAX) && fseeko(file, off_t(position), SEEK_SET) == 0;
}

std::uint64_t tellFile(std::FILE* file) {
    const off_t position = file ? ftello(file) : 0;
    return position < 0 ? 0 : std::uint64_t(position);
}

} // namespace

FileInputStream::FileInputStream(const Path& path) : file(openFile(path, "rb")) {}

std::size_t FileInputStream::read(void* buffer, std::size_t size) {
    return file ? std::fread(buffer, 1, size, file.get()) : 0;
}

bool FileInputStream::seek(std::uint64_t position) {
    return seekFile(file.get(), position);
}

std::uint64_t FileInputStream::tell() const {
    return tellFile(file.get());
}

FileOutputStream::FileOutputStream(const Path& path, Flags<OutputFlag> flags)
    : file(openFile(path, flags.has(OutputFlag::APPEND) ? "ab" : "wb")) {}

FileOutputStream::~FileOutputStream() {
    close();
}

bool FileOutputStream::write(const void* data, std::size_t size) {
    const bool written = file && std::fwrite(data, 1, size, file.get()) == size;
    failed |= !written;
    return written;
}

bool FileOutputStream::flush() {
    const bool flushed = file && std::fflush(file.get()) == 0;
    failed |= !flushed;
    return flushed;
}

bool FileOutputStream::close() {
    if (!file) {
        return false;
    }
    failed |= std::fclose(file.release()) != 0;
    return !failed;
}

bool FileOutputStream::seek(std::uint64_t position) {
    const bool moved = seekFile(file.get(), position);
    failed |= !moved;
    return moved;
}

std::uint64_t FileOutputStream::tell() const {
    return tellFile(file.get());
}

std::size_t MemoryInputStream::read(void* buffer, std::size_t size) {
    const std::size_t count = std::min(size, bytes.size() - position);
    if (count > 0) {
        std::memcpy(buffer, bytes.data() + position, count);
    }
    position += count;
    reachedEnd |= count < size;
    return count;
}

bool MemoryOutputStream::write(const void* data, std::size_t size) {
    bytes.append(static_cast<const char*>(data), size);
    return true;
}

} // namespace Vespra::Io
