#pragma once

#include <vector>

#include "foundation/VectorClones.h"

namespace Vespra {

/// The register widths, in bytes, whose kernels run on this processor, widest first.
inline std::vector<int> runnableVectorBytes() {
    std::vector<int> widths;
    for (const int bytes : {64, 32, 16}) {
        if (bytes <= Detail::cloneVectorBytes()) {
            widths.push_back(bytes);
        }
    }
    return widths;
}

/// Runs the kernels for registers of at most `bytes` for as long as it lives.
class NarrowerRegisters {
public:
    explicit NarrowerRegisters(int bytes) { Detail::limitCloneVectorBytes(bytes); }
    ~NarrowerRegisters() { Detail::limitCloneVectorBytes(64); }
    NarrowerRegisters(const NarrowerRegisters&) = delete;
    NarrowerRegisters& operator=(const NarrowerRegisters&) = delete;
};

} // namespace Vespra
