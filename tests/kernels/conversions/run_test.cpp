// Runs of conversions give the results of single conversions, for every length and alignment, and
// touch no other bytes.
#include "pattern_values.h"

#include <cstring>

namespace Fenlet {
namespace {

constexpr int guard = 80;
constexpr unsigned char guardByte = 0xA5;

/// `lanes` values, taken at equal steps from the patterns of the kind.
template <class T>
std::vector<T> sampleOf(int lanes) {
    const std::vector<T> patterns = patternValues<T>();
    std::vector<T> sample;
    for (std::size_t i = 0; i < static_cast<std::size_t>(lanes); ++i)
        sample.push_back(patterns[i * 7919 % patterns.size()]);
    return sample;
}

/// An area `offset` bytes off the alignment of the allocator, with guard bytes around it.
struct GuardedArea {
    GuardedArea(int offset, std::size_t size)
        : bytes(static_cast<std::size_t>(guard + offset) + size + guard, guardByte),
          start(bytes.data() + guard + offset),
          end(start + size) {}

    bool guardsStand() const {
        const auto isGuard = [](unsigned char byte) { return byte == guardByte; };
        return std::all_of(bytes.data(), static_cast<const unsigned char*>(start), isGuard) &&
               std::all_of(static_cast<const unsigned char*>(end), bytes.data() + bytes.size(),
                           isGuard);
    }

    std::vector<unsigned char> bytes;
    unsigned char* start;
    unsigned char* end;
};

template <class To, class From>
std::vector<To> convertedAlone(const std::vector<From>& in) {
    std::vector<To> out(in.size());
    std::transform(in.begin(), in.end(), out.begin(), convertAlone<To, From>);
    return out;
}

/// The lanes at `start`, which need not be aligned.
template <class T>
std::vector<T> lanesAt(const unsigned char* start, std::size_t lanes) {
    std::vector<T> values(lanes + 1);
    std::memcpy(values.data(), start, lanes * sizeof(T));
    values.pop_back();
    return values;
}

template <class To, class From>
void expectRunAt(const std::vector<From>& in, int outOffset, int inOffset) {
    GuardedArea source(inOffset, in.size() * sizeof(From));
    GuardedArea result(outOffset, in.size() * sizeof(To));
    std::copy(bytesOf(in), bytesOf(in) + in.size() * sizeof(From), source.start);
    mapRun<Convert<To, From>>(result.start, source.start, static_cast<std::int64_t>(in.size()));
    EXPECT_EQ(firstDifference(in, lanesAt<To>(result.start, in.size()), convertedAlone<To>(in),
                              "in a run", "itself alone"),
              "")
        << in.size() << " lanes, " << outOffset << " and " << inOffset << " bytes off";
    EXPECT_TRUE(result.guardsStand() && source.guardsStand());
    EXPECT_TRUE(std::equal(source.start, source.end, bytesOf(in))) << "the source has changed";
}

TEST(RunOfConversions, EqualsSingleOnesAtEveryLengthAndPlace) {
    forEveryPair([]<class To, class From>() {
        for (int lanes = 0; lanes <= 70; ++lanes) {
            const std::vector<From> in = sampleOf<From>(lanes);
            for (int offset = 0; offset < 16; offset += 3)
                expectRunAt<To, From>(in, offset, (offset * 5 + lanes) % 16);
        }
    });
}

TEST(RunOfConversions, WorksInPlaceBetweenKindsOfOneSize) {
    forEveryPair([]<class To, class From>() {
        if constexpr (sizeof(To) == sizeof(From))
            for (int lanes = 0; lanes <= 70; ++lanes) {
                const std::vector<From> in = sampleOf<From>(lanes);
                GuardedArea area(lanes % 16, in.size() * sizeof(From));
                std::copy(bytesOf(in), bytesOf(in) + in.size() * sizeof(From), area.start);
                mapRun<Convert<To, From>>(area.start, area.start, lanes);
                EXPECT_EQ(firstDifference(in, lanesAt<To>(area.start, in.size()),
                                          convertedAlone<To>(in), "in place", "itself alone"),
                          "");
                EXPECT_TRUE(area.guardsStand());
            }
    });
}

TEST(RunOfConversions, ConvertsAWholeBlockOfPatterns) {
    forEveryPair([]<class To, class From>() {
        const std::vector<From> in = sampleOf<From>(4099);
        EXPECT_EQ(firstMismatch(in, convertedAlone<To>(in), "itself alone"), "");
    });
}

} // namespace
} // namespace Fenlet
