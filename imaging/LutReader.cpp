#include "imaging/LutReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Vespra::Detail {

namespace {

void skipBlanks(std::string_view line, std::size_t& at) {
    while (at < line.size() && line[at] == ' ') {
        ++at;
    }
}

/// `std::from_chars` takes no plus sign; the files may carry one.
std::size_t skipPlus(std::string_view line, std::size_t at) {
    return at < line.size() && line[at] == '+' ? at + 1 : at;
}

/// Reads a number at `at` and moves `at` past it; false, with `at` unchanged, when none stands there.
template <class Number>
bool readNumber(std::string_view line, std::size_t& at, Number& value) {
    const char* begin = line.data() + skipPlus(line, at);
    const auto [end, error] = std::from_chars(begin, line.data() + line.size(), value);
    if (error != std::errc()) {
        return false;
    }
    at = std::size_t(end - line.data());
    return true;
}

bool readInt(std::string_view line, std::size_t& at, std::int64_t& value) {
    return readNumber(line, at, value);
}

bool readFloat(std::string_view line, std::size_t& at, float& value) {
    return readNumber(line, at, value);
}

std::string_view withoutQuotes(std::string_view text) {
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        return text.substr(1, text.size() - 2);
    }
    return text;
}

/// Reads one directive at `at`, which is past the blanks and inside the line.
PatternMatch readDirective(char directive, std::string_view line, std::size_t& at, PatternValues& values) {
    switch (directive) {
    case 'd':
        VESPRA_ASSERT(values.intCount < int(values.ints.size()));
        return readInt(line, at, values.ints[std::size_t(values.intCount++)]) ? PatternMatch::FULL
                                                                              : PatternMatch::NO_NUMBER;
    case 'f':
        VESPRA_ASSERT(values.floatCount < int(values.floats.size()));
        return readFloat(line, at, values.floats[std::size_t(values.floatCount++)]) ? PatternMatch::FULL
                                                                                    : PatternMatch::NO_NUMBER;
    case 'r':
        for (int channel = 0; channel < 3; ++channel) {
            skipBlanks(line, at);
            if (at == line.size()) {
                return PatternMatch::LINE_SHORT;
            }
            if (readDirective('f', line, at, values) != PatternMatch::FULL) {
                return PatternMatch::NO_NUMBER;
            }
        }
        return PatternMatch::FULL;
    case 's':
        values.text = withoutQuotes(line.substr(at));
        at = line.size();
        return PatternMatch::FULL;
    default:
        VESPRA_STOP();
    }
}

Rgb rgbOf(const PatternValues& values) {
    return Rgb(values.floats[0], values.floats[1], values.floats[2], 0.f);
}

/// Positive and finite stays; everything else, NaN included, becomes 0.
float nonNegative(float value) {
    return value > 0.f ? value : 0.f;
}

bool readsAsRow(std::string_view line, PatternValues& values, const char* pattern) {
    const PatternMatch match = matchPattern(pattern, line, values);
    return match == PatternMatch::FULL || match == PatternMatch::LINE_LEFT;
}

/// The state of a `.cube` file while its lines come in.
class CubeParser {
public:
    explicit CubeParser(Lut& lut) : lut(lut) {}

    LutResult line(std::string_view text) {
        PatternValues values;
        if (current != Table::NONE && readsAsRow(text, values, "%f%f%f")) {
            return row(rgbOf(values));
        }
        keyword(text);
        return LutResult::OK;
    }

    LutResult finish() const {
        if (current == Table::NONE || rowIndex != entryCount(current) || !isComplete(Table::ONE_D) ||
            !isComplete(Table::THREE_D)) {
            return LutResult::NONSTANDARD_FORMAT;
        }
        for (int channel = 0; channel < 3; ++channel) {
            if (!std::isfinite(inverseRange[channel]) || !(inverseRange[channel] > 0.f)) {
                return LutResult::NONSTANDARD_FORMAT;
            }
        }
        return LutResult::OK;
    }

private:
    enum class Table { NONE, ONE_D, THREE_D };

    LutResult row(const Rgb& value) {
        if (rowIndex >= entryCount(current)) {
            return LutResult::NONSTANDARD_FORMAT;
        }
        Array<Rgb>& table = current == Table::ONE_D ? lut.lut1D.edit().table : lut.lut3D.edit().table;
        if (table.size() <= std::size_t(rowIndex)) {
            table.resize(std::size_t(rowIndex) + 1, Rgb(0.f, 0.f, 0.f, 0.f));
        }
        const Rgb mapped = (value - domainMinimum) * inverseRange;
        table[std::size_t(rowIndex)] =
            Rgb(nonNegative(mapped.r), nonNegative(mapped.g), nonNegative(mapped.b), 0.f);
        ++rowIndex;
        if (rowIndex == entryCount(current) && threeDFollows) {
            current = Table::THREE_D;
            threeDFollows = false;
            rowIndex = 0;
        }
        return LutResult::OK;
    }

    void keyword(std::string_view text) {
        PatternValues values;
        if (matchPattern("TITLE %s", text, values) == PatternMatch::FULL) {
            lut.title = String::fromUtf8(values.text);
        } else if (matchPattern("LUT_1D_SIZE %d", text, values) == PatternMatch::FULL) {
            // Entries arrive row by row, so a size the file never fills costs nothing.
            lut.lut1D.emplace().size = int(std::clamp<std::int64_t>(values.ints[0], -1, INT32_MAX));
        } else if (matchPattern("LUT_3D_SIZE %d", text, values) == PatternMatch::FULL) {
            // Bounded so that the entry count stays countable; no file comes near it.
            lut.lut3D.emplace().size = int(std::clamp<std::int64_t>(values.ints[0], -1, 1 << 20));
        } else if (matchPattern("DOMAIN_MIN %r", text, values) == PatternMatch::FULL) {
            domainMinimum = rgbOf(values);
            updateInverseRange();
        } else if (matchPattern("DOMAIN_MAX %r", text, values) == PatternMatch::FULL) {
            domainMaximum = rgbOf(values);
            updateInverseRange();
        } else if (matchPattern("LUT_1D_INPUT_RANGE %f %f", text, values) == PatternMatch::FULL) {
            setInputRange(lut.lut1D ? &lut.lut1D.edit() : nullptr, values);
        } else if (matchPattern("LUT_3D_INPUT_RANGE %f %f", text, values) == PatternMatch::FULL) {
            setInputRange(lut.lut3D ? &lut.lut3D.edit() : nullptr, values);
        } else {
            return;
        }
        current = lut.lut1D ? Table::ONE_D : lut.lut3D ? Table::THREE_D : Table::NONE;
        threeDFollows = lut.lut1D && lut.lut3D;
    }

    void updateInverseRange() {
        const Rgb range = domainMaximum - domainMinimum;
        inverseRange = Rgb(1.f / range.r, 1.f / range.g, 1.f / range.b, 0.f);
    }

    static void setInputRange(LutBase* table, const PatternValues& values) {
        if (table && values.floats[0] < values.floats[1]) {
            table->domainMin = values.floats[0];
            table->domainMax = values.floats[1];
        }
    }

    int sizeOf(Table table) const {
        return table == Table::ONE_D ? lut.lut1D->size : table == Table::THREE_D ? lut.lut3D->size : 0;
    }

    /// Whether `table` is absent, or has the cells and every row its size asks for. Rows fill a
    /// table as they come, so a table declared again, or left for the other one when a keyword
    /// line came between its rows, may lack rows at its end.
    bool isComplete(Table table) const {
        const bool exists = table == Table::ONE_D ? bool(lut.lut1D) : bool(lut.lut3D);
        if (!exists) {
            return true;
        }
        const std::size_t stored = table == Table::ONE_D ? lut.lut1D->table.size() : lut.lut3D->table.size();
        return sizeOf(table) >= 2 && std::int64_t(stored) == entryCount(table);
    }

    std::int64_t entryCount(Table table) const {
        const std::int64_t size = sizeOf(table);
        return table == Table::THREE_D ? size * size * size : size;
    }

    Lut& lut;
    Rgb domainMinimum{0.f, 0.f, 0.f, 0.f};
    Rgb domainMaximum{1.f, 1.f, 1.f, 0.f};
    Rgb inverseRange{1.f, 1.f, 1.f, 0.f};
    Table current = Table::NONE;
    std::int64_t rowIndex = 0;
    bool threeDFollows = false;
};

/// The output depth of a `.3dl` table from its largest value: only even bit depths exist,
/// so 1000 and 1023 give 1024, and so does 2047.
float depthOf(double largest) {
    // Anything from 2^17 up gives the deepest depth; a clamp keeps huge values convertible.
    constexpr double DEEPEST = double(std::int64_t(1) << 18);
    const std::int64_t half = std::int64_t(std::clamp(std::trunc(largest), 0., DEEPEST)) / 2;
    int exponent = 0;
    while (exponent < 17 && (std::int64_t(1) << exponent) <= half) {
        ++exponent;
    }
    const int depthExponent = std::clamp((exponent + 1) & ~1, 8, 16);
    return float(std::int64_t(1) << depthExponent);
}

/// The state of a `.3dl` file while its lines come in.
class ThreeDlParser {
public:
    explicit ThreeDlParser(Lut& lut) : lut(lut) {}

    LutResult line(std::string_view text) {
        PatternValues values;
        switch (matchPattern("%d%d%d%d", text, values)) {
        case PatternMatch::LINE_SHORT:
            rows.push(values.ints);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                largest[channel] = std::max(largest[channel], values.ints[channel]);
            }
            return LutResult::OK;
        case PatternMatch::FULL:
        case PatternMatch::LINE_LEFT:
            return shaper(text);
        default:
            return LutResult::OK;
        }
    }

    LutResult finish() {
        const int n = int(std::lround(std::cbrt(double(rows.size()))));
        // A cube of one entry has no cells to interpolate in.
        if (n < 2 || std::size_t(n) * std::size_t(n) * std::size_t(n) != rows.size()) {
            return LutResult::NONSTANDARD_FORMAT;
        }
        const float depth = depthOf((double(largest[0]) + double(largest[1]) + double(largest[2])) / 3.0);
        Lut3D& cube = lut.lut3D.emplace(n);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const int r = int(i) / (n * n);
            const int g = int(i) / n % n;
            const int b = int(i) % n;
            cube.table[cube.index(r, g, b)] = scaled(rows[i], depth);
        }
        return LutResult::OK;
    }

private:
    using Row = StaticArray<std::int64_t, 4>;

    static Rgb scaled(const Row& row, float depth) {
        const float top = depth - 1.f;
        return Rgb(nonNegative(float(row[0]) / top), nonNegative(float(row[1]) / top),
                   nonNegative(float(row[2]) / top), 0.f);
    }

    LutResult shaper(std::string_view text) {
        Stack<std::int64_t> pieces;
        for (std::size_t at = 0; at <= text.size();) {
            const std::size_t blank = std::min(text.find(' ', at), text.size());
            const std::string_view piece = text.substr(at, blank - at);
            at = blank + 1;
            if (piece.empty()) {
                continue;
            }
            std::int64_t value = 0;
            std::size_t read = 0;
            if (!readInt(piece, read, value) || read != piece.size()) {
                return LutResult::NONSTANDARD_FORMAT;
            }
            pieces.push(value);
        }
        const float depth = depthOf(double(*std::max_element(pieces.begin(), pieces.end())));
        Lut1D& table = lut.lut1D.emplace(int(pieces.size()));
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            table.table[i] = scaled(Row{pieces[i], pieces[i], pieces[i], 0}, depth);
        }
        return LutResult::OK;
    }

    Lut& lut;
    Stack<Row> rows;
    Row largest{};
};

template <class Parser>
LutResult parse(Io::BinaryInputStream& file, Parser& parser) {
    LutLineReader reader(file);
    std::string_view text;
    while (true) {
        switch (reader.next(text)) {
        case LutLineReader::Status::END:
            return parser.finish();
        case LutLineReader::Status::TOO_LONG:
            return LutResult::NONSTANDARD_FORMAT;
        case LutLineReader::Status::READ_ERROR:
            return LutResult::READ_ERROR;
        case LutLineReader::Status::LINE:
            if (const LutResult result = parser.line(text); result != LutResult::OK) {
                return result;
            }
            break;
        }
    }
}

} // namespace

PatternMatch matchPattern(std::string_view pattern, std::string_view line, PatternValues& values) {
    values = PatternValues();
    std::size_t at = 0;
    for (std::size_t p = 0; p < pattern.size();) {
        if (pattern[p] == '%' && p + 1 < pattern.size()) {
            skipBlanks(line, at);
            if (at == line.size()) {
                return PatternMatch::LINE_SHORT;
            }
            if (const PatternMatch read = readDirective(pattern[p + 1], line, at, values);
                read != PatternMatch::FULL) {
                return read;
            }
            p += 2;
            continue;
        }
        if (at == line.size()) {
            return PatternMatch::LINE_SHORT;
        }
        if (pattern[p] != line[at]) {
            return PatternMatch::MISMATCH;
        }
        ++p;
        ++at;
    }
    return at == line.size() ? PatternMatch::FULL : PatternMatch::LINE_LEFT;
}

LutLineReader::Status LutLineReader::readRaw() {
    current.clear();
    while (true) {
        if (position == filled) {
            filled = stream.read(buffer.data(), buffer.size());
            position = 0;
            if (filled < buffer.size() && !stream.eof()) {
                return Status::READ_ERROR;
            }
            if (filled == 0) {
                return current.empty() ? Status::END : Status::LINE;
            }
        }
        const char c = buffer[position++];
        if (c == '\n' || c == '\r') {
            return Status::LINE;
        }
        current.push_back(c);
        if (current.size() >= MAX_LINE_BYTES) {
            return Status::TOO_LONG;
        }
    }
}

LutLineReader::Status LutLineReader::next(std::string_view& line) {
    while (true) {
        const Status status = readRaw();
        if (status != Status::LINE) {
            return status;
        }
        line = current;
        while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
            line.remove_suffix(1);
        }
        if (!line.empty() && line.front() != '#') {
            return Status::LINE;
        }
    }
}

LutResult readCube(Io::BinaryInputStream& file, Lut& lut) {
    CubeParser parser(lut);
    return parse(file, parser);
}

LutResult read3dl(Io::BinaryInputStream& file, Lut& lut) {
    ThreeDlParser parser(lut);
    return parse(file, parser);
}

} // namespace Vespra::Detail
