#include "engine/likelihood_work.h"

#include <chrono>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <mutex>

#include "engine/cluster.h"
#include "engine/distributed_work.h"
#include "engine/fastlink_runner.h"
#include "engine/parallel_tasks.h"

namespace piece_times {

namespace {
struct PieceTime {
    int partNumber;
    std::string part;
    size_t piece;
    double cost;
    double seconds;
    int rank;
    std::string host;
    std::string description;
};
bool keepingTimes = false;
int partsBegun = 0;
std::mutex timesLock;  // native tasks of one process record from their threads
std::vector<PieceTime> times;
}  // namespace

bool keeping() { return keepingTimes; }

void beginPart() { ++partsBegun; }

void record(const std::string& part, size_t piece, double cost, double seconds, int rank, const std::string& host,
            const std::string& description) {
    std::lock_guard<std::mutex> hold(timesLock);
    times.push_back({partsBegun, part, piece, cost, seconds, rank, host, description});
}

}  // namespace piece_times

void keepPieceTimes(bool keep) { piece_times::keepingTimes = keep; }

bool writePieceTimes(const std::string& fileName) {
    std::ofstream out(fileName);
    out << "part\tkind\tpiece\tcost\tseconds\trank\thost\tdescription\n" << std::setprecision(6);
    for (const piece_times::PieceTime& time : piece_times::times)
        out << time.partNumber << "\t" << time.part << "\t" << time.piece << "\t" << time.cost << "\t" << time.seconds << "\t" << time.rank << "\t"
            << time.host << "\t" << time.description << "\n";
    out.flush();
    if (out) return true;
    std::cout << "Error: Unable to write the piece times to " << fileName << std::endl;
    return false;
}

bool computeLikelihoods(const WorkSettings& settings, const NativeTasks& native, const FastlinkPlanner& planFastlink) {
    if (cluster::distributed()) {
        std::vector<size_t> outOfMemory;
        piece_times::beginPart();
        if (!distributed::runNative(native, outOfMemory)) return false;
        std::vector<FastlinkJob> jobs = planFastlink(outOfMemory);
        piece_times::beginPart();
        if (!distributed::runFastlink(jobs, settings)) return false;
        return !cluster::isWorker();
    }

    const bool timed = piece_times::keeping();
    piece_times::beginPart();
    const std::vector<size_t> outOfMemory =
        runParallelTasks(settings.threads, native.count, [&native, timed](size_t task) {
            const auto start = std::chrono::steady_clock::now();
            native.compute(task);
            if (timed)
                piece_times::record("Native engine tasks", task, native.cost(task),
                                    std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 0,
                                    cluster::hostName(), native.describe(task));
        });
    std::vector<FastlinkJob> jobs = planFastlink(outOfMemory);
    piece_times::beginPart();
    FastlinkRunner runner(settings.threads, settings.verbose, settings.outputPrefix);
    const bool ran = runner.run(jobs);
    if (ran && timed)
        for (size_t job = 0; job < jobs.size(); ++job)
            piece_times::record("FASTLINK jobs", job, jobs[job].size, runner.lastJobSeconds()[job], 0,
                                cluster::hostName(), jobs[job].description);
    return ran;
}
