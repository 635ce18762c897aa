#include "base/image/VxrMetadata.h"

#include <sstream>

#include "foundation/Str.h"
#include "settings/PropertyDescriptor.h"

namespace Vespra {

namespace {

/// Items of the array text form: exported strings separated by commas.
Optional<Stack<String>> readExportedStringArray(const String& text) {
    std::wistringstream stream(text.toWide());
    Stack<String> items;
    if ((stream >> std::ws).eof()) {
        return items;
    }
    try {
        for (;;) {
            items.push(Str::readExportedString(stream));
            wchar_t separator = 0;
            if (!(stream >> separator)) {
                return items;
            }
            if (separator != L',') {
                return {};
            }
        }
    } catch (const Exception&) {
        return {};
    }
}

} // namespace

Stack<RenderElementInfo> parseRenderElementInfos(const String& text) {
    Stack<RenderElementInfo> infos;
    for (const String& item : readExportedStringArray(text).value_or(Stack<String>())) {
        if (auto info = RenderElementInfo::fromString(item)) {
            infos.push(std::move(*info));
        }
    }
    return infos;
}

Stack<RenderElementInfo> parseLightMixElementNames(const String& text) {
    Stack<RenderElementInfo> infos;
    for (const String& name : readExportedStringArray(text).value_or(Stack<String>())) {
        infos.emplace(name, RenderElementFlag::COLOR_MAPPED, RenderElementType::LIGHT_SELECT);
    }
    return infos;
}

String renderElementInfosToText(ArrayView<const RenderElementInfo> infos) {
    Stack<String> items;
    for (const RenderElementInfo& info : infos) {
        items.push(info.toString());
    }
    return Str::getExportStringArray(items);
}

String getPropertyExrName(const PropertyDescriptor& descriptor) {
    String name = u"vespra." + descriptor.name;
    name.replaceAll(u"colorMap", u"cm");
    name.replaceAll(u"bloomGlare", u"bg");
    name.replaceAll(u"highlightCompression", u"hlcompr");
    name.replaceAll(u"sharpening", u"sharp");
    name.replaceAll(u"blurring", u"blur");
    return name.toLowerCase();
}

} // namespace Vespra
