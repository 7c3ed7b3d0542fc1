// The abstract classes that a host derives from, seen from outside the library.
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

/// Any of the recording providers, telling when it goes.
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
    // Nothing but the pointer to the virtual table.
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
/// Entry `slot` of the object's virtual table, as the Itanium C++ ABI lays it out.
template <class Function, class Object>
Function virtualFunction(const Object& object, std::size_t slot) {
    void* const* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    Function function;
    std::memcpy(&function, table + slot, sizeof function);
    return function;
}

// The types of the free functions are right for the ABI, and not the ones that the language knows.
#if defined(__clang__)
#define FENLET_CALLS_BY_TABLE __attribute__((no_sanitize("function")))
#else
#define FENLET_CALLS_BY_TABLE
#endif

FENLET_CALLS_BY_TABLE void callThirdSlots() {
    RecordingHost host;
    const FieldRead request;
    using Read = bool (*)(CpuFieldAccessor*, const FieldRead&);
    EXPECT_TRUE(virtualFunction<Read>(host.field, 2)(&host.field, request));
    EXPECT_EQ(host.field.reads.size(), 1u);

    alignas(8) unsigned char out[512] = {};
    using Fetch = bool (*)(UniformSource*, int, CpuElementKind, int, void*);
    EXPECT_TRUE(
        virtualFunction<Fetch>(host.uniforms, 2)(&host.uniforms, 7, CpuElementKind::Half, 3, out));
    EXPECT_EQ(host.uniforms.fetches.at(0).index, 7);

    using SampleCall = bool (*)(FenletSampler*, const void*, CpuElementKind, int, void*,
                                CpuElementKind, int, unsigned char*, int);
    EXPECT_TRUE(virtualFunction<SampleCall>(host.sampler, 2)(&host.sampler, nullptr,
                                                             CpuElementKind::Int32, 1, nullptr,
                                                             CpuElementKind::Float32, 2, out, 4));
    EXPECT_EQ(host.sampler.samples.at(0).count, 4);

    const RegisterFile registers;
    using Consume = bool (*)(BlockSink*, const RegisterFile&, long long, int);
    EXPECT_TRUE(virtualFunction<Consume>(host.sink, 2)(&host.sink, registers, 5, 6));
    EXPECT_EQ(host.sink.blocks.at(0), (RecordingSink::Block{5, 6}));
}

TEST(HostClasses, HaveTheirOperationBehindTheTwoDestructors) {
    callThirdSlots();
}
#endif

} // namespace
} // namespace Fenlet
