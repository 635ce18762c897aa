#include "apps/samplegen/RenderNodes.h"

#include <fmt/format.h>

#include "foundation/Exception.h"

namespace Vespra::SampleGen {

Stack<RenderJob> splitIntoNodes(const RenderJob& frame, int nodeCount) {
    VESPRA_ASSERT(nodeCount >= 1 && frame.passCount >= nodeCount);
    const std::int64_t extraPasses = frame.passCount - nodeCount;
    const std::int64_t totalShares = std::int64_t(nodeCount) * (nodeCount + 1) / 2;
    Stack<RenderJob> jobs;
    int passEnd = frame.firstPass;
    for (int node = 1; node <= nodeCount; ++node) {
        RenderJob job = frame;
        job.firstPass = passEnd;
        const std::int64_t sharesSoFar = std::int64_t(node) * (node + 1) / 2;
        passEnd = frame.firstPass + node + int(extraPasses * sharesSoFar / totalShares);
        job.passCount = passEnd - job.firstPass;
        if (node == nodeCount && nodeCount > 1) {
            job.dataWindow = partialNodeWindow(frame.width, frame.height).intersect(frame.dataWindow);
        }
        jobs.push(job);
    }
    return jobs;
}

Bucket partialNodeWindow(int width, int height) {
    return {width / 4, height / 5, width - width / 8, height - height / 4};
}

Io::Path nodeOutputPath(const Io::Path& output, int nodeNumber) {
    const String extension = output.extension();
    const String suffix = String::fromUtf8(fmt::format("_node{}", nodeNumber));
    if (extension.isEmpty()) {
        return output + suffix;
    }
    const String path = output.nativeStr();
    return Io::Path(path.getSubstr(0, path.length() - extension.length() - 1) + suffix + u"." + extension);
}

} // namespace Vespra::SampleGen
