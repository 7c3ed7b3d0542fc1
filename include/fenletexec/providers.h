// The base classes of providers: the objects of the host that give a program its data.
//
// The library calls providers on the thread that called `Interpreter::evaluate`, one at a time, in
// step order. It never destroys a provider. Returning false declines: the run ends with
// `ExecRefusal::ProviderFailed`. Do not decline for a single element without a value; set its
// validity byte to 0 instead. Do not call the interpreter that is running; `interpreter.h` says
// what happens if you do.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletexec/export.h>

#include <cstdint>

namespace Fenlet {

/// A request for the values of a field in one block. All pointers are borrowed for the call.
struct FieldRead {
    /// Where to store the values: `multiplicity` adjacent components of `kind` for each position.
    /// Not aligned beyond what the allocator guarantees.
    unsigned char* values = nullptr;
    /// One byte for each position. If it is 0 on entry, the index at that position is meaningless.
    /// The accessor sets it to 0 where there is no value.
    unsigned char* validity = nullptr;
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int32_t multiplicity = 1;
    /// `count` absolute element numbers, one for each position; they may be negative.
    const std::int64_t* indices = nullptr;
    /// If true, `indices[i]` is `indices[0]` + i at all positions, so the accessor may copy one
    /// contiguous piece of memory.
    bool contiguous = false;
    std::int32_t count = 0; ///< positions in this block
};

/// Values that differ from element to element.
class FENLETEXEC_API CpuFieldAccessor {
  public:
    virtual ~CpuFieldAccessor();

    /// Stores the field's value at element `request.indices[i]` at position i, for every position,
    /// in the requested kind and with the requested number of components. Returns false to decline.
    virtual bool read(const FieldRead& request) = 0;
};

/// Values that are the same for every element of a block.
class FENLETEXEC_API UniformSource {
  public:
    virtual ~UniformSource();

    /// Writes `multiplicity` (1 to 64) adjacent components of `kind` to `out`, which has 512 zeroed
    /// bytes and is aligned for any kind. `index` is the uniform's number in the program. Each
    /// instruction that loads a uniform calls this once for each block. Returns false to decline.
    virtual bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) = 0;
};

/// Values that are looked up by coordinates.
class FENLETEXEC_API FenletSampler {
  public:
    virtual ~FenletSampler();

    /// For each of `count` positions, reads `coordinateMultiplicity` components of `coordinateKind`
    /// and stores `valueMultiplicity` components of `valueKind`. The components of one position are
    /// adjacent. `validity` has one byte for each position. On entry, 0 means that the coordinates
    /// of the position are invalid. Set the byte to 0 where there is no value. `coordinates` is
    /// null if the instruction has none. Neither area is aligned beyond what the allocator
    /// guarantees. Returns false to decline.
    virtual bool sample(const void* coordinates, CpuElementKind coordinateKind,
                        int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                        int valueMultiplicity, unsigned char* validity, int count) = 0;
};

} // namespace Fenlet
