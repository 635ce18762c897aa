#pragma once

#include <variant>

#include "foundation/String.h"

namespace Vespra::Pipeline {

/// How much one image of a merge counts: a constant, the name of a weight channel, or nothing.
using MergeWeight = std::variant<float, String, std::monostate>;

/// The weight channel that render nodes write.
inline constexpr char16_t DEFAULT_WEIGHT_CHANNEL[] = u"VESPRA_FB_WEIGHTS";

/// A weight as the user writes it: a number, or a channel name behind a per-cent sign.
String toStr(const MergeWeight& weight);

} // namespace Vespra::Pipeline
