#pragma once

#include <array>

#include "apps/samplegen/Scene.h"
#include "base/image/RenderElementInfo.h"
#include "foundation/Containers.h"
#include "foundation/String.h"

namespace Vespra::SampleGen {

/// Where each value of one sample sits in a `SampleValues`.
namespace Slot {
/// R, G, B, A.
inline constexpr int BEAUTY = 0;
/// Three values for each `LightGroup`, in its order.
inline constexpr int LIGHT_SELECTS = 4;
inline constexpr int VISIBLE_DIFFUSE = LIGHT_SELECTS + 3 * LIGHT_GROUP_COUNT;
/// The normal, then the object identifier scaled into 0..1 (Scene.h).
inline constexpr int VISIBLE_NORMALS = VISIBLE_DIFFUSE + 3;
inline constexpr int HYBRID = VISIBLE_NORMALS + 4;
inline constexpr int Z_DEPTH = HYBRID + 3;
inline constexpr int ALBEDO = Z_DEPTH + 1;
inline constexpr int NORMALS = ALBEDO + 3;
inline constexpr int COUNT = NORMALS + 3;
} // namespace Slot

using SampleValues = std::array<float, Slot::COUNT>;

/// The names of the light-select layers, by `LightGroup`.
inline constexpr std::array<const char16_t*, LIGHT_GROUP_COUNT> LIGHT_SELECT_NAMES = {
    u"Key light", u"Fill light", u"Window", u"Rest (unassigned)"};

/// One stored render element and where its values come from.
struct SampleElement {
    /// Element name; the beauty's is empty.
    String name;
    /// First value in `SampleValues`.
    int slot = 0;
    /// 1 for a single channel, 3 for colour, 4 for colour and alpha.
    int componentCount = 0;
    /// Components that also get a "Sqr" channel; 0 for an element the denoiser leaves alone.
    int squaredComponentCount = 0;
    RenderElementInfo info;
};

/// Every element of a sample file, weights aside, in the order the renderer lists them.
const Stack<SampleElement>& sampleElements();

/// The descriptions written to "vespra.elements": those of the stored elements, of the
/// alpha, of the squared elements, and of the virtual light mix.
Stack<RenderElementInfo> sampleRenderElementInfos();

/// The channel components of an element: none for a single channel, else "R", "G", "B" and,
/// for four, "A".
Stack<String> componentNames(int componentCount);

} // namespace Vespra::SampleGen
