#pragma once

#include <vector>

#include <gtest/gtest.h>

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

/// Calls `check(bytes)` with the kernels for each register width the processor runs, widest first.
template <class Check>
void forEveryRegisterWidth(Check check) {
    for (const int bytes : runnableVectorBytes()) {
        const NarrowerRegisters narrower(bytes);
        SCOPED_TRACE(::testing::Message() << bytes << "-byte registers");
        check(bytes);
    }
}

} // namespace Vespra
