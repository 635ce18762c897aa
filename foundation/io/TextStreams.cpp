#include "foundation/io/TextStreams.h"

#include <array>

#include "foundation/Str.h"

namespace Vespra::Io {

namespace {

constexpr char16_t REPLACEMENT_CHARACTER = u'\uFFFD';
/// How many leading bytes decide whether a text without a byte order mark is UTF-16.
constexpr std::size_t UTF16_PROBE_BYTES = 64;

enum class Encoding { UTF8, UTF16_LE, UTF16_BE };

bool startsWith(const std::string& bytes, std::string_view prefix) {
    return std::string_view(bytes).starts_with(prefix);
}

/// ASCII text in UTF-16 leaves a zero in every other byte: at odd places in little endian, at
/// even places in big endian. At least half the pairs must show it, and the other places none.
Optional<Encoding> guessUtf16(const std::string& bytes) {
    const std::size_t pairs = std::min(bytes.size(), UTF16_PROBE_BYTES) / 2;
    std::array<std::size_t, 2> zeros{};
    for (std::size_t i = 0; i < pairs * 2; ++i) {
        zeros[i % 2] += bytes[i] == '\0';
    }
    if (pairs >= 2 && zeros[0] == 0 && zeros[1] * 2 >= pairs) {
        return Encoding::UTF16_LE;
    }
    if (pairs >= 2 && zeros[1] == 0 && zeros[0] * 2 >= pairs) {
        return Encoding::UTF16_BE;
    }
    return {};
}

String decodeUtf16(std::string_view bytes, Encoding encoding) {
    const int high = encoding == Encoding::UTF16_BE ? 0 : 1;
    std::u16string text;
    text.reserve(bytes.size() / 2 + 1);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto highByte = static_cast<unsigned char>(bytes[i + high]);
        const auto lowByte = static_cast<unsigned char>(bytes[i + 1 - high]);
        text += char16_t(highByte << 8 | lowByte);
    }
    if (bytes.size() % 2 != 0) {
        text += REPLACEMENT_CHARACTER;
    }
    // A round trip through UTF-8 turns unpaired surrogates into replacement characters.
    return String::fromUtf8(String(std::move(text)).toUtf8());
}

String decode(const std::string& bytes) {
    if (startsWith(bytes, "\xEF\xBB\xBF")) {
        return String::fromUtf8(std::string_view(bytes).substr(3));
    }
    if (startsWith(bytes, "\xFF\xFE")) {
        return decodeUtf16(std::string_view(bytes).substr(2), Encoding::UTF16_LE);
    }
    if (startsWith(bytes, "\xFE\xFF")) {
        return decodeUtf16(std::string_view(bytes).substr(2), Encoding::UTF16_BE);
    }
    if (const Optional<Encoding> utf16 = guessUtf16(bytes)) {
        return decodeUtf16(bytes, *utf16);
    }
    return String::fromUtf8(bytes);
}

Optional<std::string> readFile(const Path& path) {
    FileInputStream file(path);
    std::string bytes;
    std::array<char, 1 << 16> buffer;
    while (file.isOpen() && !file.eof() && file.good()) {
        bytes.append(buffer.data(), file.read(buffer.data(), buffer.size()));
    }
    if (!file.good()) {
        return {};
    }
    return bytes;
}

} // namespace

TextInputStream::TextInputStream(const Path& path) {
    if (Optional<std::string> bytes = readFile(path)) {
        text = decode(*bytes);
        opened = true;
    } else {
        error = Str::getFormatted("Cannot open file '{}' for reading.", path);
    }
}

TextInputStream TextInputStream::fromBytes(std::string bytes) {
    TextInputStream stream;
    stream.text = decode(bytes);
    stream.opened = true;
    return stream;
}

Optional<String> TextInputStream::readLine() {
    if (position >= text.length()) {
        return {};
    }
    const int end = std::min(text.findFirstOf(u"\r\n", position), text.length());
    String line = text.getSubstr(position, end - position);
    const bool crLf = end + 1 < text.length() && text[end] == u'\r' && text[end + 1] == u'\n';
    position = end + (crLf ? 2 : 1);
    return line;
}

String TextInputStream::readAll() {
    String rest = text.getSubstr(position);
    position = text.length();
    return rest;
}

TextOutputStream TextOutputStream::toMemory() {
    TextOutputStream stream;
    stream.memory = makeAuto<MemoryOutputStream>();
    stream.opened = true;
    return stream;
}

BinaryOutputStream* TextOutputStream::sink() const {
    if (!opened) {
        return nullptr;
    }
    return file ? static_cast<BinaryOutputStream*>(file.get()) : memory.get();
}

bool TextOutputStream::open(const Path& path, Flags<OutputFlag> flags) {
    close();
    file = makeAuto<FileOutputStream>(path, flags);
    memory = nullptr;
    opened = file->isOpen();
    failed = false;
    return opened;
}

bool TextOutputStream::write(const String& text) {
    const std::string utf8 = text.toUtf8();
    const bool written = sink() && sink()->write(utf8.data(), utf8.size());
    failed |= !written;
    return written;
}

bool TextOutputStream::flush() {
    const bool flushed = sink() && sink()->flush();
    failed |= !flushed;
    return flushed;
}

bool TextOutputStream::close() {
    if (!opened) {
        return false;
    }
    failed |= file && !file->close();
    file = nullptr;
    opened = false;
    return !failed;
}

std::string TextOutputStream::memoryContents() const {
    return memory ? memory->contents() : std::string();
}

} // namespace Vespra::Io
