// The abstract classes that a host derives from, used from outside the library.
#include "doubles/recording.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

namespace Fenlet {
namespace {

using namespace Doubles;

/// A recording provider that reports its destruction.
template <class Recording>
struct Mortal : Recording {
    bool* gone;
    explicit Mortal(bool& flag) : gone(&flag) {}
    ~Mortal() override { *gone = true; }
};

template <class Base, class Recording>
void expectHostClass(const std::string& name) {
    SCOPED_TRACE(name);
    static_assert(std::is_abstract_v<Base>);
    static_assert(std::has_virtual_destructor_v<Base>);
    // Objects hold only the pointer to the virtual table.
    static_assert(sizeof(Base) == sizeof(void*));

    bool gone = false;
    std::unique_ptr<Base> object = std::make_unique<Mortal<Recording>>(gone);
    Base& base = *object;
    EXPECT_EQ(typeid(base), typeid(Mortal<Recording>));
    EXPECT_NE(dynamic_cast<Recording*>(&base), nullptr);
    EXPECT_EQ(dynamic_cast<RecordingSink*>(&base) != nullptr,
              (std::is_same_v<Recording, RecordingSink>));
    object.reset();
    EXPECT_TRUE(gone);
}

TEST(HostClasses, AreKnownByTypeAndDeletedThroughTheBase) {
    expectHostClass<CpuFieldAccessor, RecordingField>("CpuFieldAccessor");
    expectHostClass<UniformSource, RecordingUniforms>("UniformSource");
    expectHostClass<FenletSampler, RecordingSampler>("FenletSampler");
    expectHostClass<BlockSink, RecordingSink>("BlockSink");
}

#if defined(__GXX_ABI_VERSION)
/// Entry `slot` of the object's virtual table, as the Itanium C++ ABI lays it out. Use it only to
/// compare entries.
template <class Base>
const void* virtualFunction(const Base& object, std::size_t slot) {
    const void* const* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    return table[slot];
}

/// Finds out where destructors and the operation are in the virtual table of `Base`.
/// `Mortal<Recording>` differs from `Recording` only in its destructor, and `WithOperation` also in
/// its operation. The entries that differ show the positions.
template <class Base, class Recording, class WithOperation>
void expectOperationBehindDestructors(const std::string& name) {
    SCOPED_TRACE(name);
    bool gone = false;
    const Recording plain;
    const Mortal<Recording> withDestructor(gone);
    const WithOperation withOperation;
    const Base& base = plain;
    for (const std::size_t destructor : {0u, 1u})
        EXPECT_NE(virtualFunction<Base>(withDestructor, destructor),
                  virtualFunction(base, destructor))
            << destructor;
    EXPECT_EQ(virtualFunction<Base>(withDestructor, 2), virtualFunction(base, 2));
    EXPECT_NE(virtualFunction<Base>(withOperation, 2), virtualFunction(base, 2));
}

struct DecliningField : RecordingField {
    bool read(const FieldRead&) override { return false; }
};
struct DecliningUniforms : RecordingUniforms {
    bool fetch(int, CpuElementKind, int, void*) override { return false; }
};
struct DecliningSampler : RecordingSampler {
    bool sample(const void*, CpuElementKind, int, void*, CpuElementKind, int, unsigned char*,
                int) override {
        return false;
    }
};
struct StoppingSink : RecordingSink {
    bool consume(const RegisterFile&, long long, int) override { return false; }
};

TEST(HostClasses, HaveTheirOperationBehindTheTwoDestructors) {
    expectOperationBehindDestructors<CpuFieldAccessor, RecordingField, DecliningField>(
        "CpuFieldAccessor");
    expectOperationBehindDestructors<UniformSource, RecordingUniforms, DecliningUniforms>(
        "UniformSource");
    expectOperationBehindDestructors<FenletSampler, RecordingSampler, DecliningSampler>(
        "FenletSampler");
    expectOperationBehindDestructors<BlockSink, RecordingSink, StoppingSink>("BlockSink");
}
#endif

} // namespace
} // namespace Fenlet
