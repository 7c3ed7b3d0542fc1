// What a host derives from to give a program its data.
//
// The library calls these on the thread that called `Interpreter::evaluate`, one at a time, in step
// order, and never destroys one. A false return declines: it ends the run with
// `ExecRefusal::ProviderFailed`. An element that has no value is no reason to decline: its validity
// byte is set to 0 instead.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletexec/export.h>

#include <cstdint>

namespace Fenlet {

/// What is asked of a field for one block. All pointers are borrowed for the one call.
struct FieldRead {
    /// Where the values go: `multiplicity` components of `kind` for each position, the components
    /// of one position adjacent. Aligned as the allocator aligns and no more than that.
    unsigned char* values = nullptr;
    /// One byte for each position. 0 on entry says that `indices` has no meaning there; the
    /// accessor sets it to 0 where it has no value to give.
    unsigned char* validity = nullptr;
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int32_t multiplicity = 1;
    /// `count` absolute element numbers, one for each position; they may be negative.
    const std::int64_t* indices = nullptr;
    /// True: `indices[i]` is `indices[0]` + i for all positions, so one run can be copied.
    bool contiguous = false;
    std::int32_t count = 0; ///< positions in this block
};

/// Values that the host has for each element.
class FENLETEXEC_API CpuFieldAccessor {
  public:
    virtual ~CpuFieldAccessor();

    /// Puts the field's value at element `request.indices[i]` into position i, for every position,
    /// in the kind and with the number of components that the request names. Returns false to
    /// decline.
    virtual bool read(const FieldRead& request) = 0;
};

/// Values that are the same for every element of a block.
class FENLETEXEC_API UniformSource {
  public:
    virtual ~UniformSource();

    /// Writes `multiplicity` (1 to 64) components of `kind`, packed, to `out`: 512 zeroed bytes
    /// that are aligned for any kind. `index` is the uniform's number in the program. Asked once
    /// for each block and instruction. Returns false to decline.
    virtual bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) = 0;
};

/// Values that are looked up by coordinates.
class FENLETEXEC_API FenletSampler {
  public:
    virtual ~FenletSampler();

    /// For each of `count` positions, reads `coordinateMultiplicity` components of `coordinateKind`
    /// and stores `valueMultiplicity` components of `valueKind`; the components of one position are
    /// adjacent. `validity` has one byte for each position: on entry the coordinates' validity, to
    /// be set to 0 where there is no value. `coordinates` is null if the instruction has none;
    /// neither area is aligned beyond what the allocator gives. Returns false to decline.
    virtual bool sample(const void* coordinates, CpuElementKind coordinateKind,
                        int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                        int valueMultiplicity, unsigned char* validity, int count) = 0;
};

} // namespace Fenlet
