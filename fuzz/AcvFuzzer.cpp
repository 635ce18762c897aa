// An .acv curve file: the bytes are the whole file. Curves it reads are at most four, sorted and
// reaching x = 0 and x = 1; written and read again they give the same words; and they make the
// colour curve that the curves panel applies. A file it refuses must come with a message.

#include <span>

#include "foundation/Curve.h"
#include "foundation/io/AcvFile.h"
#include "fuzz/FuzzSupport.h"

using namespace Vespra;

namespace {

void requireNodes(ArrayView<const Vector2> nodes) {
    Fuzz::require(!nodes.empty(), "a curve without nodes");
    Fuzz::require(nodes.front().x <= 1e-6f && nodes.back().x >= 0.999999f,
                  "a curve that stops short of an end");
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        Fuzz::require(nodes[i - 1].x <= nodes[i].x, "nodes out of order");
    }
}

Curve curveOf(const Io::AcvCurves& curves, std::size_t index) {
    return index < curves.size() ? Curve(curves[index].view()) : Curve();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Expected<Io::AcvCurves> curves = Io::parseAcv(std::as_bytes(std::span(data, size)));
    if (!curves) {
        Fuzz::requireClearMessage(curves.error());
        return 0;
    }
    Fuzz::require(!curves->empty() && curves->size() <= Io::ACV_CURVES, "a count of curves out of range");
    for (const Array<Vector2>& nodes : *curves) {
        requireNodes(nodes.view());
    }

    const std::vector<std::byte> written = Io::formatAcv(curves->view());
    const Expected<Io::AcvCurves> reread = Io::parseAcv(written);
    if (!reread) {
        Fuzz::fail("written curves do not read back:", reread.error());
    }
    Fuzz::require(Io::formatAcv(reread->view()) == written, "curves change on their way through a file");

    const ColorCurve colors(curveOf(*curves, 0), curveOf(*curves, 1), curveOf(*curves, 2),
                            curveOf(*curves, 3));
    for (const float x : {-0.5f, 0.f, 0.2f, 0.5f, 0.8f, 1.f, 2.f}) {
        (void)colors(Rgb(x, x, x, 1.f));
    }
    return 0;
}
