#include "foundation/io/AcvFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "foundation/Str.h"

namespace Vespra::Io {

namespace {

/// 1/255 as the files have always been read with; a coordinate written from it by truncation
/// comes back as the same word.
constexpr float FROM_WORD = 0.003921569f;
constexpr float TO_WORD = 255.f;
/// End nodes are added to curves that stop short of these.
constexpr float FIRST_X_LIMIT = 1e-6f;
constexpr float LAST_X_LIMIT = 0.999999f;

/// Big-endian words from the front of a byte span.
class WordReader {
public:
    explicit WordReader(std::span<const std::byte> bytes) : bytes(bytes) {}

    Optional<std::uint16_t> next() {
        if (bytes.size() - position < 2) {
            return std::nullopt;
        }
        const auto high = std::uint16_t(bytes[position]);
        const auto low = std::uint16_t(bytes[position + 1]);
        position += 2;
        return std::uint16_t(high << 8 | low);
    }

private:
    std::span<const std::byte> bytes;
    std::size_t position = 0;
};

/// The points of one curve as nodes: sorted, and carried on flat to x = 0 and x = 1 when they
/// stop short of them.
Array<Vector2> toNodes(Stack<Vector2> points) {
    std::stable_sort(points.begin(), points.end(), [](Vector2 a, Vector2 b) { return a.x < b.x; });
    Stack<Vector2> nodes;
    if (points.front().x > FIRST_X_LIMIT) {
        nodes.push({0.f, points.front().y});
    }
    for (const Vector2& point : points) {
        nodes.push(point);
    }
    if (points.back().x < LAST_X_LIMIT) {
        nodes.push({1.f, points.back().y});
    }
    return Array<Vector2>(nodes.view());
}

String endsInside(std::size_t curve) {
    return Str::getFormatted("The file is damaged: it ends inside curve {}.", curve + 1);
}

/// The points of curve `curve` (counted from 0), whose count word has been read.
Expected<Array<Vector2>> readCurve(WordReader& words, std::size_t curve, std::uint16_t pointCount) {
    if (pointCount == 0) {
        return makeUnexpected(Str::getFormatted("The file is damaged: curve {} has no points.", curve + 1));
    }
    Stack<Vector2> points;
    for (std::uint16_t i = 0; i < pointCount; ++i) {
        const Optional<std::uint16_t> output = words.next();
        const Optional<std::uint16_t> input = words.next();
        if (!output || !input) {
            return makeUnexpected(endsInside(curve));
        }
        points.push({float(*input) * FROM_WORD, float(*output) * FROM_WORD});
    }
    return toNodes(std::move(points));
}

/// A coordinate as a word: times 255, truncated, within 0 to 65535.
std::uint16_t toWord(float value) {
    const float scaled = value * TO_WORD;
    if (!(scaled > 0.f)) {
        return 0;
    }
    return scaled >= 65535.f ? std::uint16_t(65535) : std::uint16_t(int(scaled));
}

void appendWord(std::vector<std::byte>& bytes, std::uint16_t word) {
    bytes.push_back(std::byte(word >> 8));
    bytes.push_back(std::byte(word & 0xFF));
}

const Array<Vector2>& identityNodes() {
    static const Array<Vector2> identity{{0.f, 0.f}, {1.f, 1.f}};
    return identity;
}

} // namespace

Expected<AcvCurves> parseAcv(std::span<const std::byte> bytes) {
    WordReader words(bytes);
    const Optional<std::uint16_t> version = words.next();
    if (!version) {
        return makeUnexpected(u"The file is too short to be a curve file.");
    }
    if (*version != ACV_VERSION) {
        return makeUnexpected(Str::getFormatted(
            "This is not a curve file: it starts with the word {}, where curve files have {}.", *version,
            ACV_VERSION));
    }
    const Optional<std::uint16_t> curveCount = words.next();
    if (!curveCount) {
        return makeUnexpected(u"The file is damaged: it ends before the count of its curves.");
    }
    if (*curveCount == 0) {
        return makeUnexpected(u"The file holds no curves.");
    }
    AcvCurves curves;
    for (std::size_t curve = 0; curve < *curveCount; ++curve) {
        const Optional<std::uint16_t> pointCount = words.next();
        if (!pointCount) {
            return makeUnexpected(endsInside(curve));
        }
        // Curves beyond the fourth have only their count word read, as files have always been
        // read: what follows is taken as the counts of further curves.
        if (curve >= ACV_CURVES) {
            continue;
        }
        Expected<Array<Vector2>> nodes = readCurve(words, curve, *pointCount);
        if (!nodes) {
            return makeUnexpected(nodes.error());
        }
        curves.push(std::move(*nodes));
    }
    return curves;
}

std::vector<std::byte> formatAcv(ArrayView<const Array<Vector2>> curves) {
    std::vector<std::byte> bytes;
    appendWord(bytes, ACV_VERSION);
    appendWord(bytes, std::uint16_t(ACV_CURVES));
    for (std::size_t curve = 0; curve < ACV_CURVES; ++curve) {
        const Array<Vector2>& nodes = curve < curves.size() ? curves[curve] : identityNodes();
        const std::size_t count = std::min<std::size_t>(nodes.size(), 65535);
        appendWord(bytes, std::uint16_t(count));
        for (std::size_t i = 0; i < count; ++i) {
            appendWord(bytes, toWord(nodes[i].y));
            appendWord(bytes, toWord(nodes[i].x));
        }
    }
    return bytes;
}

Expected<AcvCurves> loadAcv(const Path& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.std().c_str(), "rb"),
                                                               std::fclose);
    if (!file) {
        return makeUnexpected(u"Cannot read the file \"" + path.nativeStr() + u"\": " +
                              systemErrorText(errno) + u".");
    }
    std::vector<std::byte> bytes;
    std::byte buffer[4096];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0) {
        bytes.insert(bytes.end(), buffer, buffer + read);
    }
    if (std::ferror(file.get())) {
        return makeUnexpected(u"Cannot read the file \"" + path.nativeStr() + u"\".");
    }
    Expected<AcvCurves> curves = parseAcv(bytes);
    if (!curves) {
        return makeUnexpected(u"The curves of \"" + path.nativeStr() + u"\" cannot be loaded. " +
                              curves.error());
    }
    return curves;
}

Expected<void, FileWriteError> saveAcv(const Path& path, ArrayView<const Array<Vector2>> curves) {
    const std::vector<std::byte> bytes = formatAcv(curves);
    return writeFileAtomically(path, [&bytes](const Path& temporary) -> Expected<void> {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(temporary.std().c_str(), "wb"),
                                                                   std::fclose);
        if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() ||
            std::fflush(file.get()) != 0) {
            return makeUnexpected(systemErrorText(errno));
        }
        return {};
    });
}

} // namespace Vespra::Io
