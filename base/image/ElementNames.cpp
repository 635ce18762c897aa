#include "base/image/ElementNames.h"

namespace Vespra {

namespace {

bool isComponentName(const String& name) {
    return name == COMPONENT_R || name == COMPONENT_G || name == COMPONENT_B || name == COMPONENT_A;
}

} // namespace

String joinChannelName(const String& prefix, const String& suffix) {
    if (prefix.isEmpty()) {
        return suffix;
    }
    if (suffix.isEmpty()) {
        return prefix;
    }
    return prefix + u"." + suffix;
}

std::pair<String, String> splitChannelName(const String& name) {
    const int stop = name.findLastOf(u".");
    if (stop != String::NOT_FOUND) {
        return {name.getSubstr(0, stop), name.getSubstr(stop + 1)};
    }
    if (isComponentName(name)) {
        return {String(), name};
    }
    return {name, String()};
}

String channelToElementName(const String& channelName) {
    if (channelName == BEAUTY_CHANNEL_NAME) {
        return String();
    }
    if (channelName == ALPHA_CHANNEL_NAME) {
        return COMPONENT_A;
    }
    return channelName;
}

String elementToChannelName(const String& elementName) {
    if (elementName.isEmpty()) {
        return BEAUTY_CHANNEL_NAME;
    }
    if (elementName == COMPONENT_A) {
        return ALPHA_CHANNEL_NAME;
    }
    return elementName;
}

String denoisedName(const String& name) {
    return DENOISED_PREFIX + name;
}

bool isDenoisedName(const String& name) {
    return name.startsWith(DENOISED_PREFIX);
}

String squaredName(const String& name) {
    return SQUARED_PREFIX + (name.isEmpty() ? String(SQUARED_BEAUTY_STEM) : name);
}

bool isSquaredName(const String& name) {
    return name.startsWith(SQUARED_PREFIX);
}

} // namespace Vespra
