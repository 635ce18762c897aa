#pragma once

/// Marks a pixel kernel to be compiled three times: for the SSE4.2 baseline of the build, for
/// AVX2 with FMA, and for AVX-512. The loader picks the widest one the processor runs, once per
/// process, so a binary built for any x86-64 machine still uses the wide registers where they
/// exist. Write such kernels as plain loops over contiguous floats (the compiler vectorises them
/// for each width) or with `Float4`. The build passes -ffp-contract=off, so no clone fuses a
/// multiply and an add on its own and all three give the same numbers. The cost model is that of
/// -O3: the default of -O2 vectorises no loop whose length is only known at run time.
///
/// Builds that define VESPRA_NO_VECTOR_CLONES compile each kernel once, for the baseline: the
/// loader calls the resolver that picks a clone while it relocates the program, before a
/// thread sanitizer's runtime is up, and an instrumented resolver crashes there.
#ifdef VESPRA_NO_VECTOR_CLONES
#define VESPRA_VECTOR_CLONES
#else
#define VESPRA_VECTOR_CLONES                                                                                 \
    __attribute__((target_clones("default", "arch=x86-64-v3", "arch=x86-64-v4"),                             \
                   optimize("vect-cost-model=dynamic")))
#endif

namespace Vespra::Detail {

/// The bytes of the widest registers of the clone that runs on this processor: 64, 32 or 16;
/// always 16 without clones.
/// Kernels whose vector types have a fixed width (the compiler lowers a type wider than the
/// registers through memory) pick the type that fits by this.
int cloneVectorBytes();

/// Makes `cloneVectorBytes` answer at most `bytes` (64 lifts the limit), so that tests can run
/// the narrower kernels on a processor with wider registers.
void limitCloneVectorBytes(int bytes);

} // namespace Vespra::Detail
