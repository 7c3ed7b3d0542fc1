// The four host classes, used across library boundaries: their virtual tables and their type
// information.
#include "other_side.h"

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <string>
#include <typeinfo>
#include <vector>

namespace Fenlet::Package {

// These are visible, so that the dynamic linker can name the entries of their tables.

struct [[gnu::visibility("default")]] Field : CpuFieldAccessor {
    ~Field() override;
    bool read(const FieldRead&) override;
};
Field::~Field() = default;
bool Field::read(const FieldRead&) {
    return true;
}

struct [[gnu::visibility("default")]] Uniforms : UniformSource {
    ~Uniforms() override;
    bool fetch(int, CpuElementKind, int, void*) override;
};
Uniforms::~Uniforms() = default;
bool Uniforms::fetch(int, CpuElementKind, int, void*) {
    return true;
}

struct [[gnu::visibility("default")]] Sampler : FenletSampler {
    ~Sampler() override;
    bool sample(const void*, CpuElementKind, int, void*, CpuElementKind, int, unsigned char*, int)
        override;
};
Sampler::~Sampler() = default;
bool Sampler::sample(const void*, CpuElementKind, int, void*, CpuElementKind, int, unsigned char*,
                     int) {
    return true;
}

struct [[gnu::visibility("default")]] Sink : BlockSink {
    ~Sink() override;
    bool consume(const RegisterFile&, long long, int) override;
};
Sink::~Sink() = default;
bool Sink::consume(const RegisterFile&, long long, int) {
    return true;
}

namespace {

constexpr std::size_t slotCount = 3;

/// The symbols that the first entries of an object's virtual table point to. Both names of a
/// destructor that frees no memory count as one.
template <class Object>
std::vector<std::string> slotNames(const Object& object) {
    void* const* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    std::vector<std::string> names;
    for (std::size_t slot = 0; slot < slotCount; ++slot) {
        Dl_info info{};
        const bool found = dladdr(table[slot], &info) != 0 && info.dli_sname != nullptr;
        std::string name = found ? info.dli_sname : "nothing";
        if (const auto end = name.find("D2Ev"); end != std::string::npos)
            name.replace(end, 4, "D1Ev");
        names.push_back(name);
    }
    return names;
}

using Names = std::vector<std::string>;

TEST(HostClassTables, HoldTheOperationBehindTheTwoDestructors) {
    EXPECT_EQ(slotNames(Field()),
              (Names{"_ZN6Fenlet7Package5FieldD1Ev", "_ZN6Fenlet7Package5FieldD0Ev",
                     "_ZN6Fenlet7Package5Field4readERKNS_9FieldReadE"}));
    EXPECT_EQ(slotNames(Uniforms()),
              (Names{"_ZN6Fenlet7Package8UniformsD1Ev", "_ZN6Fenlet7Package8UniformsD0Ev",
                     "_ZN6Fenlet7Package8Uniforms5fetchEiNS_14CpuElementKindEiPv"}));
    EXPECT_EQ(slotNames(Sampler()),
              (Names{"_ZN6Fenlet7Package7SamplerD1Ev", "_ZN6Fenlet7Package7SamplerD0Ev",
                     "_ZN6Fenlet7Package7Sampler6sampleEPKvNS_14CpuElementKindEiPvS4_iPhi"}));
    EXPECT_EQ(slotNames(Sink()),
              (Names{"_ZN6Fenlet7Package4SinkD1Ev", "_ZN6Fenlet7Package4SinkD0Ev",
                     "_ZN6Fenlet7Package4Sink7consumeERKNS_12RegisterFileExi"}));
}

/// One of the library's virtual tables: the offset, the type information and the entries. The
/// entries for the destructors of an abstract class are not tested: nothing calls them, and
/// compilers differ.
class LibraryTable : public testing::TestWithParam<const char*> {};

TEST_P(LibraryTable, HasOneOperationAndDoesNotDefineIt) {
    const std::string type = GetParam();
    void* const table = dlsym(RTLD_DEFAULT, ("_ZTV" + type).c_str());
    ASSERT_NE(table, nullptr);
    Dl_info info{};
    ElfW(Sym) * symbol;
    ASSERT_NE(dladdr1(table, &info, reinterpret_cast<void**>(&symbol), RTLD_DL_SYMENT), 0);
#ifdef FENLET_SANITIZED // A sanitizer may add padding after each table.
    EXPECT_GE(symbol->st_size, (2 + slotCount) * sizeof(void*));
#else
    EXPECT_EQ(symbol->st_size, (2 + slotCount) * sizeof(void*));
#endif
    void* const* const entries = static_cast<void* const*>(table);
    EXPECT_EQ(entries[1], dlsym(RTLD_DEFAULT, ("_ZTI" + type).c_str()));
    EXPECT_EQ(entries[2 + slotCount - 1], dlsym(RTLD_DEFAULT, "__cxa_pure_virtual"));
}

INSTANTIATE_TEST_SUITE_P(OfAllHostClasses, LibraryTable,
                         testing::Values("N6Fenlet16CpuFieldAccessorE", "N6Fenlet13UniformSourceE",
                                         "N6Fenlet13FenletSamplerE", "N6Fenlet9BlockSinkE"));

/// The library of `other_side.cpp`, loaded without making its names visible to others.
class OtherSide : public testing::Test {
  protected:
    void* library = dlopen(FENLET_OTHER_SIDE, RTLD_NOW | RTLD_LOCAL);
    MadeElsewhere made{};

    void SetUp() override {
        ASSERT_NE(library, nullptr) << dlerror();
        void* const symbol = dlsym(library, "makeElsewhere");
        ASSERT_NE(symbol, nullptr) << dlerror();
        MakeElsewhere* make;
        std::memcpy(&make, &symbol, sizeof make);
        made = make();
    }
    void TearDown() override {
        if (library != nullptr)
            dlclose(library);
    }
};

TEST_F(OtherSide, CastsBetweenTheBasesOfOneObject) {
    EXPECT_EQ(dynamic_cast<BlockSink*>(made.field), made.sink);
    EXPECT_EQ(dynamic_cast<CpuFieldAccessor*>(made.sink), made.field);
    EXPECT_EQ(dynamic_cast<UniformSource*>(made.field), nullptr);
    EXPECT_EQ(dynamic_cast<FenletSampler*>(made.sink), nullptr);
    EXPECT_EQ(dynamic_cast<Field*>(made.field), nullptr);
    EXPECT_EQ(typeid(*made.field), typeid(*made.sink));
    EXPECT_NE(typeid(*made.field), typeid(Field));
    delete made.sink;
}

TEST_F(OtherSide, IsDestroyedWholeThroughEitherBase) {
    EXPECT_FALSE(*made.destroyed);
    delete made.sink;
    EXPECT_TRUE(*made.destroyed);
    SetUp();
    EXPECT_FALSE(*made.destroyed);
    delete made.field;
    EXPECT_TRUE(*made.destroyed);
}

TEST(HostClassTypes, HaveOneRecordForAllLibraries) {
    EXPECT_EQ(&typeid(CpuFieldAccessor), dlsym(RTLD_DEFAULT, "_ZTIN6Fenlet16CpuFieldAccessorE"));
    EXPECT_EQ(&typeid(UniformSource), dlsym(RTLD_DEFAULT, "_ZTIN6Fenlet13UniformSourceE"));
    EXPECT_EQ(&typeid(FenletSampler), dlsym(RTLD_DEFAULT, "_ZTIN6Fenlet13FenletSamplerE"));
    EXPECT_EQ(&typeid(BlockSink), dlsym(RTLD_DEFAULT, "_ZTIN6Fenlet9BlockSinkE"));
}

} // namespace
} // namespace Fenlet::Package
