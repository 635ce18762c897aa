#include "foundation/image/ImageFormat.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "foundation/Containers.h"
#include "foundation/Str.h"

namespace Vespra {
namespace {

struct FormatRow {
    ImageFormat format;
    const char16_t* name;
    /// Separated by ';', the usual one first.
    const char16_t* extensions;
    int defaultBitDepth;
    /// Ascending, padded with zeros.
    std::array<int, 3> bitDepths;
    /// Separated by ';'; empty when the format offers no choice.
    const char16_t* compressions;
};

constexpr std::array FORMATS = {
    FormatRow{ImageFormat::PNG, u"PNG", u"png", 8, {8, 16, 0}, u"zip"},
    FormatRow{ImageFormat::JPEG, u"JPEG", u"jpg;jpeg", 8, {8, 0, 0}, u""},
    FormatRow{ImageFormat::TIFF, u"TIFF", u"tif;tiff", 16, {8, 16, 32}, u"none;lzw;zip;packbits"},
    FormatRow{
        ImageFormat::EXR, u"EXR", u"exr", 32, {16, 32, 0}, u"none;rle;zips;zip;piz;pxr24;b44;b44a;dwaa;dwab"},
    FormatRow{ImageFormat::BMP, u"BMP", u"bmp", 8, {8, 0, 0}, u""},
    FormatRow{ImageFormat::TGA, u"TGA", u"tga", 8, {8, 0, 0}, u"none;rle"},
    FormatRow{ImageFormat::HDR, u"HDR", u"hdr", 32, {32, 0, 0}, u""},
};

constexpr const char16_t* VESPRA_EXR_EXTENSIONS = u"vxr;vex;vexr";

/// The only compression method taking a level, and the levels zlib knows.
constexpr const char16_t* LEVELLED_COMPRESSION = u"zip";
constexpr int MAX_COMPRESSION_LEVEL = 9;

const FormatRow* findRow(ImageFormat format) {
    for (const FormatRow& row : FORMATS) {
        if (row.format == format) {
            return &row;
        }
    }
    return nullptr;
}

Stack<String> listOf(const char16_t* items) {
    return String(items).explode(u";", ExplodeMode::SKIP_EMPTY);
}

bool listContains(const char16_t* items, const String& item) {
    for (const String& listed : listOf(items)) {
        if (listed == item) {
            return true;
        }
    }
    return false;
}

/// "a", "a and b", "a, b and c".
String enumerate(const Stack<String>& items) {
    String text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) {
            text += i + 1 == items.size() ? u" and " : u", ";
        }
        text += items[i];
    }
    return text;
}

Optional<String> validateBitDepth(const FormatRow& row, int bitDepth) {
    if (bitDepth == 0 || std::ranges::find(row.bitDepths, bitDepth) != row.bitDepths.end()) {
        return {};
    }
    Stack<String> depths;
    for (int depth : row.bitDepths) {
        if (depth != 0) {
            depths.push(Str::getFormatted("{}", depth));
        }
    }
    const char* noun = depths.size() == 1 ? "bit depth" : "bit depths";
    return Str::getFormatted("{} supports {} {}.", String(row.name), noun, enumerate(depths));
}

bool isLevelValid(const String& level) {
    const std::string digits = level.toUtf8();
    int value = -1;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() && value >= 0 &&
           value <= MAX_COMPRESSION_LEVEL;
}

Optional<String> validateCompression(const FormatRow& row, const String& compression) {
    if (compression.isEmpty()) {
        return {};
    }
    const String name(row.name);
    if (String(row.compressions).isEmpty()) {
        return Str::getFormatted("{} has no compression to choose.", name);
    }
    const int colon = compression.find(u':');
    const String method = compression.getSubstr(0, colon);
    if (!listContains(row.compressions, method)) {
        return Str::getFormatted("{} supports the compressions {}.", name,
                                 enumerate(listOf(row.compressions)));
    }
    if (colon != String::NOT_FOUND &&
        (method != LEVELLED_COMPRESSION || !isLevelValid(compression.getSubstr(colon + 1)))) {
        return Str::getFormatted("Only the {} compression takes a level, from 0 to {}.",
                                 String(LEVELLED_COMPRESSION), MAX_COMPRESSION_LEVEL);
    }
    return {};
}

} // namespace

ImageFormat getImageFormatFromFileName(const Io::Path& path) {
    if (isVespraExrFileName(path)) {
        return ImageFormat::EXR;
    }
    const String extension = path.extension().toLowerCase();
    for (const FormatRow& row : FORMATS) {
        if (listContains(row.extensions, extension)) {
            return row.format;
        }
    }
    return ImageFormat::UNKNOWN;
}

bool isVespraExrFileName(const Io::Path& path) {
    return listContains(VESPRA_EXR_EXTENSIONS, path.extension().toLowerCase());
}

String getImageFormatsFileDialogFilter(bool vespraExrFirst) {
    String filter;
    const auto add = [&filter](const char16_t* name, const char16_t* extensions) {
        String patterns;
        for (const String& extension : listOf(extensions)) {
            patterns += (patterns.isEmpty() ? u"*." : u";*.") + extension;
        }
        if (!filter.isEmpty()) {
            filter += u'|';
        }
        filter += Str::getFormatted("{} files ({})|{}", String(name), patterns, patterns);
    };
    if (vespraExrFirst) {
        add(u"Vespra EXR", VESPRA_EXR_EXTENSIONS);
    }
    for (const FormatRow& row : FORMATS) {
        add(row.name, row.extensions);
    }
    return filter;
}

String getImageFormatExtension(ImageFormat format) {
    const FormatRow* row = findRow(format);
    return row ? listOf(row->extensions)[0] : String();
}

int getEffectiveBitDepth(ImageFormat format, const ImageSaveSettings& settings) {
    const FormatRow* row = findRow(format);
    return settings.bitDepth == 0 && row ? row->defaultBitDepth : settings.bitDepth;
}

Optional<String> validateSaveSettings(ImageFormat format, const ImageSaveSettings& settings) {
    const FormatRow* row = findRow(format);
    if (!row) {
        return String(u"The image format is unknown.");
    }
    if (Optional<String> error = validateBitDepth(*row, settings.bitDepth)) {
        return error;
    }
    if (Optional<String> error = validateCompression(*row, settings.compression)) {
        return error;
    }
    if (format == ImageFormat::JPEG && (settings.quality < 1 || settings.quality > 100)) {
        return String(u"JPEG quality must be between 1 and 100.");
    }
    return {};
}

} // namespace Vespra
