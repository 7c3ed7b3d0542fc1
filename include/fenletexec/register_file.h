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
/// are multiples of 64. Where the storage itself begins is nobody's to count on.
struct RegisterSlot {
    RegisterSpec spec;
    std::uint64_t dataOffset = 0;
    std::uint64_t validityOffset = 0;
};

/// Memory from the general allocator that begins with a cache line, so that no vector within an
/// area lies across two: many loads of wide vectors would take twice the time.
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
/// A register has a data area and a validity area, disjoint from every other. Component c of
/// element e stands in the data area at component index e * multiplicity + c. The validity area has
/// one byte for each element, shared by its components: 0 means that the element has no value, any
/// other byte that it has one. Only the first `liveElements()` elements of an area mean anything,
/// and the value of an element that is not valid is whatever was last written there.
class RegisterFile {
  public:
    FENLETEXEC_API RegisterFile();

    /// Lays out `count` registers for blocks of at most `blockSize` elements, all bytes zero.
    /// `specs` may be null only when `count` is 0; it is copied. Nothing of an earlier layout
    /// survives but capacity. Returns false, with `failure()` saying why and no layout left, when
    /// `blockSize` is below 1, `count` is negative or without specs, a kind is `Unsupported` or a
    /// multiplicity below 1. Memory that cannot be had is the allocator's exception.
    FENLETEXEC_API bool configure(const RegisterSpec* specs, int count, int blockSize);

    /// The first byte of the register's data area, null for a number that is not a register's.
    const unsigned char* data(int number) const { return area(number, &RegisterSlot::dataOffset); }
    unsigned char* data(int number) {
        return const_cast<unsigned char*>(area(number, &RegisterSlot::dataOffset));
    }

    /// The first byte of the register's validity area, null for a number that is not a register's.
    const unsigned char* validity(int number) const {
        return area(number, &RegisterSlot::validityOffset);
    }
    unsigned char* validity(int number) {
        return const_cast<unsigned char*>(area(number, &RegisterSlot::validityOffset));
    }

    /// Number of registers.
    int registerCount() const { return static_cast<int>(slots.size()); }

    /// Kind and multiplicity of register `number`, which must be one.
    const RegisterSpec& specOf(int number) const {
        return slots[static_cast<std::size_t>(number)].spec;
    }

    /// Layout of register `number`, which must be one.
    const RegisterSlot& slotOf(int number) const { return slots[static_cast<std::size_t>(number)]; }

    /// Bytes of all areas together.
    std::size_t byteCount() const { return storage.size(); }

    /// Elements that every area has room for; 0 while not configured.
    int elementCapacity() const { return blockSize; }

    /// Elements of the current block.
    int liveElements() const { return blockLength; }

    /// Why the last `configure` failed, null after a success. The text has static lifetime.
    const char* failure() const { return lastError; }

    /// Sets the number of live elements, clamped to between 0 and `elementCapacity()`.
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
