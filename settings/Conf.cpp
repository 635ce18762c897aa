#include "settings/Conf.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <locale>
#include <sstream>

#include <fmt/format.h>

#include "foundation/Exception.h"
#include "foundation/Str.h"
#include "foundation/io/AtomicFile.h"
#include "foundation/io/Files.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra {

namespace Conf {

const char16_t* const AUTO_GENERATED_HEADER = u"#####################################################\n"
                                              u"# Default Vespra auto-generated initial config file #\n"
                                              u"#                                                   #\n"
                                              u"# format:                                           #\n"
                                              u"# type name   =   value                             #\n"
                                              u"#####################################################\n";

namespace {

[[noreturn]] void fail(const char16_t* message) {
    throw Exception(message);
}

/// Reads the value of one line from the rest of its text, in the form its type token names.
class ValueReader {
public:
    explicit ValueReader(std::wistringstream& in) : in(in) {}

    Property read(PropertyType type) {
        switch (type) {
        case PropertyType::INT:
            return readNumber<std::int32_t>();
        case PropertyType::FLOAT:
            return readNumber<float>();
        case PropertyType::BOOL:
            return readBool();
        case PropertyType::VEC3:
            return readVec3();
        case PropertyType::STRING:
            return Str::readExportedString(in);
        case PropertyType::VEC3_ARRAY:
            return Property(ArrayView<const Vec3Value>(readArray([this] { return readVec3(); })));
        case PropertyType::FLOAT_ARRAY:
            return Property(ArrayView<const float>(readArray([this] { return readNumber<float>(); })));
        case PropertyType::VEC2_ARRAY:
            return Property(ArrayView<const Vector2>(readArray([this] { return readVec2(); })));
        case PropertyType::INT_ARRAY:
            return Property(
                ArrayView<const std::int32_t>(readArray([this] { return readNumber<std::int32_t>(); })));
        case PropertyType::BOOL_ARRAY:
            return readBoolArray();
        case PropertyType::STRING_ARRAY:
            return Property(
                ArrayView<const String>(readArray([this] { return Str::readExportedString(in); })));
        case PropertyType::NONE:
            break;
        }
        VESPRA_STOP();
    }

    String restOfLine() {
        std::wstring rest;
        std::getline(in, rest);
        return String::fromWide(rest).trim();
    }

private:
    template <class T>
    T readNumber() {
        T value{};
        if (!(in >> value)) {
            fail(u"invalid value declaration");
        }
        return value;
    }

    Vec3Value readVec3() {
        const float x = readNumber<float>();
        const float y = readNumber<float>();
        return {x, y, readNumber<float>()};
    }

    Vector2 readVec2() {
        const float x = readNumber<float>();
        return {x, readNumber<float>()};
    }

    Property readBool() {
        const String word = restOfLine();
        if (word.isEmpty()) {
            fail(u"incomplete line");
        }
        if (word != u"true" && word != u"false") {
            fail(u"boolean needs to be 'true' or 'false'");
        }
        return word == u"true";
    }

    /// Items of a bool array are "1", "0", "true" or "false".
    bool readBoolItem() {
        std::wstring word;
        in >> std::ws;
        while (in.good() && std::iswalnum(std::wint_t(in.peek()))) {
            word += wchar_t(in.get());
        }
        if (word == L"1" || word == L"true") {
            return true;
        }
        if (word == L"0" || word == L"false") {
            return false;
        }
        fail(u"invalid value declaration");
    }

    Property readBoolArray() {
        Stack<char> items; // bool is kept as char to have contiguous storage
        for (const bool item : readArray([this] { return readBoolItem(); })) {
            items.push(item);
        }
        std::unique_ptr<bool[]> flags(new bool[items.size()]);
        std::copy(items.begin(), items.end(), flags.get());
        return Property(ArrayView<const bool>(flags.get(), items.size()));
    }

    /// Items separated by commas; an empty rest of line is an empty array.
    template <class ReadItem>
    auto readArray(ReadItem readItem) -> Stack<decltype(readItem())> {
        Stack<decltype(readItem())> items;
        if ((in >> std::ws).eof()) {
            return items;
        }
        for (;;) {
            items.push(readItem());
            wchar_t separator = 0;
            if (!(in >> separator)) {
                return items;
            }
            if (separator != L',') {
                fail(u"invalid array value declaration");
            }
        }
    }

    std::wistringstream& in;
};

PropertyType matchTypeName(const String& token) {
    const String lower = token.toLowerCase();
    for (const PropertyType type : getNamedTypes()) {
        if (getTypeName(type).toLowerCase() == lower) {
            return type;
        }
    }
    throw Exception(u"Unknown type: " + token);
}

/// The value of a line from the rest of its text; an enumerated property reads its name.
Property readValue(const PropertyDescriptor& row, PropertyType type, std::wistringstream& in) {
    ValueReader reader(in);
    if (!row.serializer) {
        return reader.read(type);
    }
    auto enumValue = row.serializer->stringToValue(reader.restOfLine());
    if (!enumValue) {
        throw Exception(enumValue.error());
    }
    return *enumValue;
}

/// Parses one line and sets its value; raises `Exception` with the bare reason on failure.
void applyLine(const String& line, Abstract::Settings& settings, const PropertyFilter& filter) {
    const String trimmed = line.trim();
    if (trimmed.isEmpty() || trimmed[0] == u'#') {
        return;
    }
    std::wistringstream in(trimmed.toWide());
    in.imbue(std::locale::classic());
    String typeToken;
    String nameToken;
    wchar_t equals = 0;
    in >> typeToken >> nameToken >> equals;
    if (!in || equals != L'=') {
        fail(u"Missing '='");
    }
    const PropertyDescriptor* row = PropertyDescriptor::find(nameToken);
    if (!row) {
        fail(u"Unknown property");
    }
    const Property value = readValue(*row, row->serializer ? row->type : matchTypeName(typeToken), in);
    if (!filter || filter(row->id)) {
        settings.set(row->id, value);
    }
}

String errorText(const String& source, int lineNumber, const String& message, const String& line) {
    return u"Error in.conf file '" + source + u"' (line " + String::fromUtf8(std::to_string(lineNumber)) +
           u") : " + message + u".\n Whole line : " + line;
}

void parseLines(Io::TextInputStream& stream, const String& source, Flags<ConfParserFlag> flags,
                Abstract::Settings& settings, Abstract::Logger* logger, const PropertyFilter& filter) {
    int lineNumber = 0;
    while (const Optional<String> line = stream.readLine()) {
        ++lineNumber;
        try {
            applyLine(*line, settings, filter);
        } catch (const Exception& error) {
            const String text = errorText(source, lineNumber, error.getMessage(), *line);
            if (!flags.has(ConfParserFlag::CONTINUE_ON_ERROR)) {
                throw Exception(text);
            }
            if (logger) {
                logger->log(text, LogLevel::ERROR);
            }
        }
    }
}

String formatLine(const PropertyDescriptor& row, const Property& value) {
    const String text = row.serializer ? row.serializer->valueToString(value.asInt()) : toStr(value);
    return value.getAlignedTypeStr() + u" " + row.name + u"      = " + text + u"\n";
}

} // namespace

void parse(const Io::Path& path, Flags<ConfParserFlag> flags, Abstract::Settings& settings,
           Abstract::Logger* logger, const PropertyFilter& filter) {
    if (flags.has(ConfParserFlag::CREATE_IF_MISSING) && !Io::fileExists(path)) {
        Io::TextOutputStream out;
        if (!out.open(path) || !out.write(AUTO_GENERATED_HEADER) || !out.close()) {
            throw Exception(u"Cannot create the configuration file '" + path.genericStr() + u"'.");
        }
    }
    Io::TextInputStream stream(path);
    if (!stream.isOpen()) {
        throw Exception(stream.errorMessage());
    }
    parseLines(stream, path.genericStr(), flags, settings, logger, filter);
}

void parse(Io::TextInputStream& stream, Flags<ConfParserFlag> flags, Abstract::Settings& settings,
           Abstract::Logger* logger, const PropertyFilter& filter) {
    parseLines(stream, u"Io::TextInputStream", flags, settings, logger, filter);
}

Expected<Property, String> parseValue(const PropertyDescriptor& descriptor, PropertyType type, const String& text) {
    std::wistringstream in(text.toWide());
    in.imbue(std::locale::classic());
    try {
        return readValue(descriptor, type, in);
    } catch (const Exception& error) {
        return makeUnexpected(error.getMessage());
    }
}

bool parseLine(const String& line, Abstract::Settings& settings) {
    try {
        applyLine(line, settings, {});
        return true;
    } catch (const Exception&) {
        return false;
    }
}

void save(const Abstract::Settings& settings, Io::TextOutputStream& stream, const PropertyFilter& filter) {
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& row) {
        if (!filter || filter(row.id)) {
            stream.write(formatLine(row, settings.get(row.id)));
        }
    });
}

Expected<bool, String> save(const Abstract::Settings& settings, const Io::Path& path,
                            const PropertyFilter& filter) {
    Io::TextOutputStream text = Io::TextOutputStream::toMemory();
    save(settings, text, filter);
    const std::string bytes = text.memoryContents();
    // The old file stays as it was until the new one is complete.
    const auto written = Io::writeFileAtomically(path, [&](const Io::Path& temporary) -> Expected<void> {
        Io::FileOutputStream file(temporary);
        if (!file.write(bytes.data(), bytes.size()) || !file.close()) {
            return makeUnexpected(Io::systemErrorText(errno));
        }
        return {};
    });
    if (!written) {
        return makeUnexpected(written.error().message);
    }
    return true;
}

PropertyFilter filterOf(ArrayView<const std::int32_t> ids) {
    return [selected = Array<std::int32_t>(ids)](std::int32_t id) {
        return std::find(selected.begin(), selected.end(), id) != selected.end();
    };
}

Io::Path getDefaultFileName() {
    const char* configHome = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    const std::string base =
        configHome && *configHome ? configHome : std::string(home ? home : ".") + "/.config";
    return Io::Path(String::fromUtf8(base + "/VespraRenderer/vespra.conf"));
}

} // namespace Conf
} // namespace Vespra
