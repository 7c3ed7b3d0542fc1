// How scripts/performance talks to the programs that it compares.
#include "protocol.h"

#include <fenlethosts/npy_writer.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>

namespace Fenlet::Bench {
namespace {

class Server {
  public:
    Server(const std::string& folder, const Contender& served) : data(folder), contender(served) {}

    std::string answer(const std::string& line) {
        std::istringstream words(line);
        std::string workload;
        std::string command;
        words >> workload >> command;
        if (workload == "version" && command.empty())
            return contender.version;
        const Prepared& prepared = prepare(workload);
        if (!prepared.run)
            return "none";
        if (command == "load")
            return std::to_string(bytes(prepared));
        if (command == "check") {
            std::string file;
            words >> file;
            prepared.run();
            return write(prepared.result(), file);
        }
        long times = 1;
        if (!(words >> times))
            times = 1;
        if (command == "time")
            return nanoseconds(times, prepared.run);
        if (command == "first")
            return nanoseconds(times, [&] { contender.prepare(workload, data).run(); });
        return "error: no such command: " + line;
    }

  private:
    const Prepared& prepare(const std::string& workload) {
        const auto found = ready.find(workload);
        if (found != ready.end())
            return found->second;
        return ready.emplace(workload, contender.prepare(workload, data)).first->second;
    }

    std::size_t bytes(const Prepared& prepared) {
        std::size_t total = 0;
        for (const std::string& name : prepared.arrays)
            total += data[name].bytes.size();
        const Result result = prepared.result();
        const int size = elementSize(result.kind) * result.components;
        return total + static_cast<std::size_t>(result.count) *
                           static_cast<std::size_t>(size + (result.present != nullptr ? 1 : 0));
    }

    static std::string nanoseconds(long times, const std::function<void()>& run) {
        using Clock = std::chrono::steady_clock;
        const auto start = Clock::now();
        for (long i = 0; i < times; ++i)
            run();
        const std::chrono::nanoseconds passed = Clock::now() - start;
        return std::to_string(passed.count());
    }

    static std::string write(const Result& result, const std::string& file) {
        std::vector<std::int64_t> shape = {result.count};
        if (result.components > 1)
            shape.push_back(result.components);
        NpyWriter values(file + ".npy", result.kind, shape);
        const auto count = static_cast<std::size_t>(result.count);
        values.write(result.values, count * static_cast<std::size_t>(elementSize(result.kind) *
                                                                     result.components));
        values.finish();
        if (result.present != nullptr &&
            std::count(result.present, result.present + count, 0) > 0) {
            NpyWriter present(file + ".present.npy", CpuElementKind::Tribool, {result.count});
            present.write(result.present, count);
            present.finish();
        }
        return "written";
    }

    WorkloadData data;
    const Contender& contender;
    std::map<std::string, Prepared> ready;
};

} // namespace

int serve(const std::string& folder, const Contender& contender) {
    Server server(folder, contender);
    std::string line;
    while (std::getline(std::cin, line)) {
        try {
            std::cout << server.answer(line) << std::endl;
        } catch (const std::exception& problem) {
            std::cout << "error: " << problem.what() << std::endl;
        }
    }
    return 0;
}

} // namespace Fenlet::Bench
