#include "base/pipeline/MergeWeight.h"

#include <fmt/format.h>

namespace Vespra::Pipeline {

String toStr(const MergeWeight& weight) {
    if (const auto* constant = std::get_if<float>(&weight)) {
        return String::fromUtf8(fmt::format("{}", *constant));
    }
    if (const auto* channel = std::get_if<String>(&weight)) {
        return u"%" + *channel;
    }
    return {};
}

} // namespace Vespra::Pipeline
