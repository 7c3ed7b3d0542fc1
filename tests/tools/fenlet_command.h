// Runs the command `fenlet` in a folder with files.
#pragma once

#include "doubles/process.h"
#include "hosts/npy_files.h"
#include "hosts/temporary_folder.h"

#include <fenlethosts/npy.h>

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet::Tools {

using namespace Doubles;
using Strings = std::vector<std::string>;

/// The bytes of the lanes, in the byte order of this machine.
template <class Lane>
std::string bytesOf(const std::vector<Lane>& lanes) {
    return {reinterpret_cast<const char*>(lanes.data()), lanes.size() * sizeof(Lane)};
}

class FenletCommand : public testing::Test {
  protected:
    Outcome ask(const Strings& arguments, const std::string& input = "") const {
        return Doubles::run({FENLET_PROGRAM, arguments, folder.path(), "", false, -1, input});
    }

    /// The output of a call that succeeds without a message.
    std::string answer(const Strings& arguments, const std::string& input = "") const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome outcome = ask(arguments, input);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.error, "");
        return outcome.output;
    }

    /// Expects a call to fail with `status` and to write no file. Returns its messages.
    std::string complaint(int status, const Strings& arguments,
                          const std::string& input = "") const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Strings before = folder.names();
        const Outcome outcome = ask(arguments, input);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(folder.names(), before);
        return outcome.error;
    }

    /// Expects a call to fail because of the program or its data. Returns the message, which must
    /// be one line.
    std::string refusal(const Strings& arguments, const std::string& input = "") const {
        return oneLine(complaint(1, arguments, input));
    }
    /// Expects a call to fail because of the command line. Returns the message, which must be one
    /// line.
    std::string misuse(const Strings& arguments) const { return oneLine(complaint(2, arguments)); }

    /// Expects a run of `program` to fail. Returns the message.
    std::string refusedRun(const std::string& program, Strings arguments) const {
        folder.write("program", program);
        arguments.insert(arguments.begin(), {"run", "program"});
        return refusal(arguments);
    }

    template <class Lane>
    void writeArray(const std::string& name, const std::string& type, const std::string& shape,
                    const std::vector<Lane>& lanes) const {
        folder.write(name, Hosts::npyFile(Hosts::npyHeader(type, shape), bytesOf(lanes)));
    }
    void writeHeights() const {
        writeArray<float>("height.npy", "<f4", "(5,)", {1, -2.5, 0, 100, 8848});
    }

    template <class Lane>
    std::vector<Lane> lanesIn(const std::string& name) const {
        const NpyArray array = readNpy(folder.path(name));
        std::vector<Lane> lanes(array.bytes.size() / sizeof(Lane));
        std::copy(array.bytes.begin(), array.bytes.end(),
                  reinterpret_cast<unsigned char*>(lanes.data()));
        return lanes;
    }

    Hosts::TemporaryFolder folder;

  private:
    static std::string oneLine(const std::string& text) {
        EXPECT_EQ(text.rfind("fenlet: ", 0), 0u) << text;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
        return text.size() > 9 ? text.substr(8, text.size() - 9) : text;
    }
};

} // namespace Fenlet::Tools
