// The text of a "vespra.elements" attribute, and of the older "vespra.lightmix.elements": the
// bytes as UTF-8. Each description read writes and reads back to itself, so does the whole
// list, and the element list of an image whose channels are those of the described elements is
// derived with them.

#include <algorithm>
#include <set>

#include "base/image/ElementList.h"
#include "base/image/ElementNames.h"
#include "base/image/VxrMetadata.h"
#include "fuzz/FuzzSupport.h"

using namespace Vespra;

namespace {

void requireRoundTrip(const Stack<RenderElementInfo>& infos) {
    for (const RenderElementInfo& info : infos) {
        const Expected<RenderElementInfo> again = RenderElementInfo::fromString(info.toString());
        Fuzz::require(again.has_value() && *again == info,
                      "a description does not read back:", info.toString());
    }
    const Stack<RenderElementInfo> list = parseRenderElementInfos(renderElementInfosToText(infos));
    Fuzz::require(std::ranges::equal(list, infos), "the list of descriptions does not read back");
}

/// The sorted float channels of an image holding the colour and the mono form of each element.
Stack<String> channelsOf(const Stack<RenderElementInfo>& infos) {
    std::set<String> names{u"R", u"G", u"B", u"A"};
    for (const RenderElementInfo& info : infos) {
        const String element = channelToElementName(info.name);
        names.insert(element);
        for (const char16_t* component : {COMPONENT_R, COMPONENT_G, COMPONENT_B}) {
            names.insert(joinChannelName(element, component));
        }
    }
    Stack<String> channels;
    for (const String& name : names) {
        channels.push(name);
    }
    return channels;
}

void deriveElements(const Stack<RenderElementInfo>& infos) {
    for (const ElementInfo& element : deriveElementList(channelsOf(infos), infos)) {
        const Optional<RenderElementInfo> info = findRenderElementInfo(infos, element);
        (void)renderFlagsToElementBits(info, element.kind);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const String text = String::fromUtf8(Fuzz::bytesOf(data, size));
    const Stack<RenderElementInfo> infos = parseRenderElementInfos(text);
    requireRoundTrip(infos);
    deriveElements(infos);
    const Stack<RenderElementInfo> layers = parseLightMixElementNames(text);
    deriveElements(layers);
    return 0;
}
