// The memory of a running program: the values and the validity of every register, for one block.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletexec/export.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace Fenlet {

/// What a register holds: `multiplicity` components of `kind` for each element.
struct RegisterSpec {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int32_t multiplicity = 1;
};

/// Where a register's two areas begin within the register file's storage, in bytes. Both offsets
/// are multiples of 64. Do not rely on the alignment of the storage itself.
struct RegisterSlot {
    RegisterSpec spec;
    std::uint64_t dataOffset = 0;
    std::uint64_t validityOffset = 0;
};

/// Allocates memory that begins on a cache line. A SIMD load that crosses two cache lines often
/// takes twice the time.
template <class Value>
struct LineAllocator {
    using value_type = Value;
    static constexpr std::align_val_t alignment{64};

    LineAllocator() = default;
    template <class Other>
    LineAllocator(const LineAllocator<Other>&) {}

    Value* allocate(std::size_t count) {
        return static_cast<Value*>(::operator new(count * sizeof(Value), alignment));
    }
    void deallocate(Value* memory, std::size_t) noexcept { ::operator delete(memory, alignment); }

    template <class Other>
    friend bool operator==(const LineAllocator&, const LineAllocator<Other>&) {
        return true;
    }
    template <class Other>
    friend bool operator!=(const LineAllocator&, const LineAllocator<Other>&) {
        return false;
    }
};

/// All registers of a program, for one block of elements.
///
/// A register has a data area and a validity area. No two areas overlap. Component c of element e
/// is at component index e * multiplicity + c of the data area. The validity area has one byte for
/// each element, shared by its components: 0 means that the element has no value; any other byte
/// means that it has one. Only the first `liveElements()` elements of an area are meaningful. The
/// data of an invalid element is unspecified: it is whatever was last written there.
class RegisterFile {
  public:
    FENLETEXEC_API RegisterFile();

    /// Lays out `count` registers for blocks of at most `blockSize` elements, and clears all bytes.
    /// `specs` is copied, and may be null only if `count` is 0. An earlier layout is discarded, but
    /// its memory is reused. Fails if `blockSize` is below 1, `count` is negative, `specs` is
    /// missing, a kind is `Unsupported` or a multiplicity is below 1: returns false, `failure()`
    /// says why, and no layout is left. Throws what the allocator throws.
    FENLETEXEC_API bool configure(const RegisterSpec* specs, int count, int blockSize);

    /// The first byte of the register's data area. Null if there is no register of this number.
    const unsigned char* data(int number) const { return area(number, &RegisterSlot::dataOffset); }
    unsigned char* data(int number) {
        return const_cast<unsigned char*>(area(number, &RegisterSlot::dataOffset));
    }

    /// The first byte of the register's validity area. Null if there is no register of this number.
    const unsigned char* validity(int number) const {
        return area(number, &RegisterSlot::validityOffset);
    }
    unsigned char* validity(int number) {
        return const_cast<unsigned char*>(area(number, &RegisterSlot::validityOffset));
    }

    /// Number of registers.
    int registerCount() const { return static_cast<int>(slots.size()); }

    /// Kind and multiplicity of register `number`, which must exist.
    const RegisterSpec& specOf(int number) const {
        return slots[static_cast<std::size_t>(number)].spec;
    }

    /// Layout of register `number`, which must exist.
    const RegisterSlot& slotOf(int number) const { return slots[static_cast<std::size_t>(number)]; }

    /// Bytes of all areas together, including padding.
    std::size_t byteCount() const { return storage.size(); }

    /// Elements that fit into every area; 0 if nothing is laid out.
    int elementCapacity() const { return blockSize; }

    /// Elements of the current block.
    int liveElements() const { return blockLength; }

    /// Why the last `configure` failed, null if it succeeded. The text has static lifetime.
    const char* failure() const { return lastError; }

    /// Sets the number of live elements, clamped to the range 0 to `elementCapacity()`.
    void setBlockLength(int length) {
        blockLength = length < 0 ? 0 : length > blockSize ? blockSize : length;
    }

  private:
    friend class Interpreter;

    const unsigned char* area(int number, std::uint64_t RegisterSlot::*offset) const {
        if (number < 0 || static_cast<std::size_t>(number) >= slots.size())
            return nullptr;
        return storage.data() + slots[static_cast<std::size_t>(number)].*offset;
    }

    template <class SpecAt>
    bool layOut(SpecAt specAt, int count, int elements);

    std::vector<RegisterSlot> slots;
    std::vector<unsigned char, LineAllocator<unsigned char>> storage;
    std::int32_t blockSize = 0;
    std::int32_t blockLength = 0;
    const char* lastError = nullptr;
};

} // namespace Fenlet
