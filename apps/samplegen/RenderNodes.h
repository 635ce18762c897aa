#pragma once

#include "apps/samplegen/SampleRenderer.h"
#include "foundation/Containers.h"
#include "foundation/io/Path.h"

namespace Vespra::SampleGen {

/// The jobs of `nodeCount` render nodes that share the passes of `frame`, as a distributed
/// render hands them out: node k (from 1) gets about k shares of the passes beyond one each,
/// so every node has its own count, and the last node of several renders only a part of the
/// frame, so that merging meets a data window smaller than the frame. Needs at least one pass
/// per node.
Stack<RenderJob> splitIntoNodes(const RenderJob& frame, int nodeCount);

/// The part of a `width` by `height` frame that a partial node renders.
Bucket partialNodeWindow(int width, int height);

/// "dir/name.vxr" becomes "dir/name_node3.vxr" for node 3.
Io::Path nodeOutputPath(const Io::Path& output, int nodeNumber);

} // namespace Vespra::SampleGen
