#include "base/image/ExrHeaderCheck.h"

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "base/image/ImageMemoryLimit.h"
#include "foundation/Exception.h"
#include "foundation/Optional.h"

namespace Vespra::Detail {

namespace {

constexpr std::uint32_t MAGIC = 20000630;
constexpr std::uint32_t TILED_FLAG = 0x200;
constexpr std::uint32_t MULTI_PART_FLAG = 0x1000;
/// The longest name OpenEXR writes has 255 bytes; with its terminating zero 256.
constexpr std::size_t MAX_NAME_BYTES = 256;
constexpr std::uint64_t BYTES_PER_CHUNK_OFFSET = 8;
[[noreturn]] void damaged(const std::string& reason) {
    throw Exception(String::fromUtf8("File stores a damaged header.\n\n" + reason));
}

/// Scan lines in one chunk of pixel data, by OpenEXR's number of the compression; 0 for a number
/// OpenEXR does not know, which it refuses itself.
std::int64_t linesPerChunk(int compression) {
    constexpr std::int64_t LINES[] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256};
    return compression >= 0 && compression < int(std::size(LINES)) ? LINES[compression] : 0;
}

/// The bytes of the headers in order, never past the end that the file's size sets.
class HeaderReader {
public:
    HeaderReader(Io::BinaryInputStream& file, std::uint64_t fileSize) : file(file), fileSize(fileSize) {}

    std::uint64_t remaining() const { return fileSize - consumed; }

    /// False, having read nothing, when the file ends before `size` bytes.
    bool tryRead(void* target, std::size_t size) {
        if (size > remaining() || file.read(target, size) != size) {
            return false;
        }
        consumed += size;
        return true;
    }

    void read(void* target, std::size_t size) {
        if (!tryRead(target, size)) {
            damaged("The file ends inside its header.");
        }
    }

    std::uint32_t u32() {
        unsigned char bytes[4];
        read(bytes, sizeof(bytes));
        return std::uint32_t(bytes[0]) | std::uint32_t(bytes[1]) << 8 | std::uint32_t(bytes[2]) << 16 |
               std::uint32_t(bytes[3]) << 24;
    }

    std::int32_t i32() { return std::int32_t(u32()); }

    /// A zero-terminated name.
    std::string name() {
        std::string text;
        while (true) {
            char c = 0;
            read(&c, 1);
            if (c == '\0') {
                return text;
            }
            text += c;
            if (text.size() >= MAX_NAME_BYTES) {
                damaged("A name in it has no end.");
            }
        }
    }

    void skip(std::uint64_t size) {
        char buffer[4096];
        while (size > 0) {
            const std::size_t piece = std::size_t(std::min<std::uint64_t>(size, sizeof(buffer)));
            read(buffer, piece);
            size -= piece;
        }
    }

private:
    Io::BinaryInputStream& file;
    std::uint64_t fileSize;
    std::uint64_t consumed = 0;
};

/// What one header says about the size of its image and of its table of chunks.
struct PartSize {
    Optional<StaticArray<std::int64_t, 4>> dataWindow;
    std::uint64_t channelCount = 0;
    int compression = -1;
    Optional<StaticArray<std::uint32_t, 2>> tileSize;
    Optional<std::int64_t> chunkCount;

    std::int64_t width() const { return (*dataWindow)[2] - (*dataWindow)[0] + 1; }
    std::int64_t height() const { return (*dataWindow)[3] - (*dataWindow)[1] + 1; }
    bool hasPixels() const { return dataWindow && width() > 0 && height() > 0; }

    /// The chunks of pixel data, as far as the header tells; the levels of a tiled image beyond
    /// the first are not counted.
    std::uint64_t chunks() const {
        if (chunkCount) {
            return std::uint64_t(std::max<std::int64_t>(*chunkCount, 0));
        }
        if (!hasPixels()) {
            return 0;
        }
        if (tileSize) {
            const std::int64_t tileWidth = (*tileSize)[0];
            const std::int64_t tileHeight = (*tileSize)[1];
            if (tileWidth <= 0 || tileHeight <= 0) {
                return 0;
            }
            return std::uint64_t((width() + tileWidth - 1) / tileWidth) *
                   std::uint64_t((height() + tileHeight - 1) / tileHeight);
        }
        const std::int64_t lines = linesPerChunk(compression);
        return lines > 0 ? std::uint64_t((height() + lines - 1) / lines) : 0;
    }
};

/// Bytes of the values of a fixed size; OpenEXR reads that many whatever size the header gives.
std::uint64_t fixedValueBytes(const std::string& type) {
    static const std::pair<const char*, std::uint64_t> SIZES[] = {
        {"box2i", 16},
        {"box2f", 16},
        {"chromaticities", 32},
        {"compression", 1},
        {"deepImageState", 1},
        {"double", 8},
        {"envmap", 1},
        {"float", 4},
        {"int", 4},
        {"keycode", 28},
        {"lineOrder", 1},
        {"m33f", 36},
        {"m33d", 72},
        {"m44f", 64},
        {"m44d", 128},
        {"rational", 8},
        {"tiledesc", 9},
        {"timecode", 8},
        {"v2i", 8},
        {"v2f", 8},
        {"v2d", 16},
        {"v3i", 12},
        {"v3f", 12},
        {"v3d", 24},
    };
    for (const auto& [name, bytes] : SIZES) {
        if (type == name) {
            return bytes;
        }
    }
    return 0;
}

/// Reads a channel list to its empty name, as OpenEXR does whatever size the header gives;
/// answers the number of channels.
std::uint64_t readChannelList(HeaderReader& reader) {
    std::uint64_t count = 0;
    // Each channel: its name, and 16 bytes of pixel type, linearity and sampling.
    while (!reader.name().empty()) {
        reader.skip(16);
        ++count;
    }
    return count;
}

/// Reads a preview image, whose size its own width and height give.
void readPreview(HeaderReader& reader, const std::string& name) {
    const std::uint64_t width = reader.u32();
    const std::uint64_t height = reader.u32();
    const std::uint64_t bytes = width * height * 4;
    if (bytes > reader.remaining()) {
        damaged(fmt::format(
            "Its attribute \"{}\" claims a preview of {} x {} pixels, more than the {} bytes left in "
            "the file.",
            name, width, height, reader.remaining()));
    }
    reader.skip(bytes);
}

/// Reads one attribute as far as OpenEXR will, keeping what the sizes of the image depend on.
void readAttribute(HeaderReader& reader, const std::string& name, PartSize& part) {
    const std::string type = reader.name();
    const std::int32_t size = reader.i32();
    if (type == "chlist") {
        const std::uint64_t channels = readChannelList(reader);
        if (name == "channels") {
            part.channelCount = channels;
        }
        return;
    }
    if (type == "preview") {
        readPreview(reader, name);
        return;
    }
    const std::uint64_t fixed = fixedValueBytes(type);
    // Texts, vectors and attributes of types OpenEXR does not know take the size the header
    // gives, and OpenEXR allocates it before it reads.
    const std::uint64_t bytes = fixed > 0 ? fixed : std::uint64_t(std::max(size, 0));
    if (bytes > reader.remaining()) {
        damaged(fmt::format("Its attribute \"{}\" claims {} bytes, more than the {} bytes left in the file.",
                            name, bytes, reader.remaining()));
    }
    if (name == "dataWindow" && type == "box2i") {
        StaticArray<std::int64_t, 4> box;
        for (std::int64_t& value : box) {
            value = reader.i32();
        }
        part.dataWindow = box;
    } else if (name == "compression" && type == "compression") {
        unsigned char compression = 0;
        reader.read(&compression, 1);
        part.compression = compression;
    } else if (name == "tiles" && type == "tiledesc") {
        const std::uint32_t tileWidth = reader.u32();
        part.tileSize = StaticArray<std::uint32_t, 2>{tileWidth, reader.u32()};
        reader.skip(1);
    } else if (name == "chunkCount" && type == "int") {
        part.chunkCount = reader.i32();
    } else {
        reader.skip(bytes);
    }
}

/// One header, up to its terminating zero; nothing when it is the empty header that ends the
/// headers of a file of several parts.
Optional<PartSize> readHeader(HeaderReader& reader, bool tiled) {
    PartSize part;
    std::string name = reader.name();
    if (name.empty()) {
        return std::nullopt;
    }
    for (; !name.empty(); name = reader.name()) {
        readAttribute(reader, name, part);
    }
    if (!tiled) {
        part.tileSize.reset();
    }
    return part;
}

void checkChunkTable(const Stack<PartSize>& parts, std::uint64_t remaining) {
    std::uint64_t chunks = 0;
    for (const PartSize& part : parts) {
        chunks += part.chunks();
    }
    if (chunks > remaining / BYTES_PER_CHUNK_OFFSET) {
        throw Exception(String::fromUtf8(fmt::format(
            "File stores incomplete pixel data.\n\nIts pixels are stored in {} chunks, and the table of "
            "where they lie alone needs more than the {} bytes that follow the header.",
            chunks, remaining)));
    }
}

void checkMemory(const PartSize& part) {
    if (!part.hasPixels()) {
        return;
    }
    if (const Optional<String> excess = imageMemoryExcess(part.channelCount, part.width(), part.height())) {
        throw Exception(u"File stores an image too large to load.\n\n" + *excess);
    }
}

} // namespace

void checkExrHeaders(Io::BinaryInputStream& file, std::uint64_t fileSize) {
    HeaderReader reader(file, fileSize);
    unsigned char start[8];
    if (!reader.tryRead(start, sizeof(start))) {
        return;
    }
    const std::uint32_t magic = std::uint32_t(start[0]) | std::uint32_t(start[1]) << 8 |
                                std::uint32_t(start[2]) << 16 | std::uint32_t(start[3]) << 24;
    if (magic != MAGIC) {
        return;
    }
    const std::uint32_t flags = std::uint32_t(start[5]) << 8 | std::uint32_t(start[6]) << 16;
    Stack<PartSize> parts;
    if (flags & MULTI_PART_FLAG) {
        while (Optional<PartSize> part = readHeader(reader, true)) {
            parts.push(std::move(*part));
        }
    } else if (Optional<PartSize> part = readHeader(reader, flags & TILED_FLAG)) {
        parts.push(std::move(*part));
    }
    if (parts.empty()) {
        return;
    }
    checkMemory(parts[0]);
    checkChunkTable(parts, reader.remaining());
}

} // namespace Vespra::Detail
