#include "base/image/ExrSupport.h"

#include <algorithm>

#include <OpenEXR/ImfThreading.h>

#include "foundation/Utils.h"

namespace Vespra::Detail {

void setExrGlobalThreadCount(bool multithreaded) {
    Imf::setGlobalThreadCount(multithreaded ? std::max(2, Utils::getLogicalProcessorCount()) : 0);
}

String readableExrFailure(String text, const Io::Path& path) {
    if (text.isEmpty()) {
        text = u"Unknown error has occurred.";
    }
    if (!path.isEmpty()) {
        const String native = path.nativeStr();
        text.replaceAll(path.genericStr(), native);
        text.replaceAll(u"'" + native + u"'", u"\"" + native + u"\"");
        if (!text.contains(native)) {
            text = u"Cannot operate with image file \"" + native + u"\". " + text;
        }
    }
    text.replaceAll(u"File is not an image file.", u"File is not a supported image file.");
    text = text.trim();
    if (!text.endsWith(u".")) {
        text += u'.';
    }
    return text;
}

} // namespace Vespra::Detail
