#include "engine/distributed_work.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <iostream>
#include <mutex>
#include <new>
#include <numeric>
#include <sstream>
#include <thread>

#include "engine/byte_codec.h"
#include "engine/cluster.h"
#include "engine/fastlink_runner.h"
#include "engine/process.h"
#include "engine/progress_line.h"
#include "engine/run_directory.h"

namespace distributed {

namespace {

enum class Kind : std::uint8_t { Ready = 1, Go, Join, Assign, Result, Failed, PartEnd, Stop, Stopped, Finished, End };

int localThreads = 1;
std::uint64_t partNumber = 0;    // parts of analyses begun on this rank
std::vector<std::string> hosts;  // rank 0: the host of every rank
std::vector<int> slotsOf;        // rank 0: the threads of every rank
bool workersStopped = false;

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

ByteWriter messageOf(Kind kind) {
    ByteWriter writer;
    writer.put<std::uint8_t>(static_cast<std::uint8_t>(kind));
    return writer;
}

Kind kindOf(ByteReader& reader) {
    std::uint8_t kind = 0;
    reader.get(kind);
    return static_cast<Kind>(kind);
}

// The main thread waits between polls without holding a core.
void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

std::string whereText(int rank) {
    const std::string host = rank < static_cast<int>(hosts.size()) ? hosts[static_cast<size_t>(rank)] : "";
    return "rank " + std::to_string(rank) + " of " + std::to_string(cluster::size()) + " (host " + host + ")";
}

// A message the protocol does not allow here: the ranks no longer agree on what they do.
[[noreturn]] void protocolError(const std::string& what) {
    std::fprintf(stderr, "varkel, rank %d on %s: %s; ending the run\n", cluster::rank(), cluster::hostName().c_str(),
                 what.c_str());
    std::fflush(stderr);
    run_directory::remove();
    cluster::abortAll(255);
}

// A worker at the end of the run: its scratch goes, then MPI, then the process (computing
// threads may still be inside a task nobody needs).
[[noreturn]] void endWorkerProcess() {
    run_directory::remove();
    cluster::finish();
    std::_Exit(0);
}

// A worker told to stop says so last: rank 0 takes every message sent before, so that no
// result is left half sent when MPI ends.
[[noreturn]] void stopWorkerProcess() {
    ByteWriter stopped = messageOf(Kind::Stopped);
    cluster::send(0, stopped.take());
    endWorkerProcess();
}

void stopWorkers() {
    if (workersStopped) return;
    workersStopped = true;
    for (int rank = 1; rank < cluster::size(); ++rank) {
        ByteWriter stop = messageOf(Kind::Stop);
        cluster::send(rank, stop.take());
    }
}

// While a rank polls, an interrupt only sets a flag, and the rank stops what it runs itself.
class ListeningForInterrupts {
public:
    ListeningForInterrupts() { run_directory::setRunningJobs(true); }
    ~ListeningForInterrupts() { run_directory::setRunningJobs(false); }
};

// A piece computed on this rank.
struct Finished {
    size_t piece = 0;
    enum Status : std::uint8_t { Done, OutOfMemory, Failed } status = Done;
    std::string bytes;   // the result, from a worker
    std::string report;  // why it failed
    double seconds = 0.0;
};

// The pieces of one part this rank computes, up to its number of threads at once.
class LocalPieces {
public:
    virtual ~LocalPieces() = default;
    virtual bool hasRoom() const = 0;
    virtual void start(size_t piece) = 0;
    virtual void collect(std::vector<Finished>& finished) = 0;
    // After a failure or an interrupt: programs are stopped at once, native tasks end with
    // the task they are in.
    virtual void stop() = 0;
};

class NativePieces : public LocalPieces {
public:
    NativePieces(const NativeTasks& tasks, bool sendsResults)
        : tasks(tasks), threads(std::max(1, localThreads)), sendsResults(sendsResults) {
        for (int t = 0; t < threads; ++t) pool.emplace_back([this] { work(); });
    }
    ~NativePieces() override {
        stop();
        for (std::thread& thread : pool) thread.join();
    }
    bool hasRoom() const override { return inHand < static_cast<size_t>(threads); }
    void start(size_t piece) override {
        {
            std::lock_guard<std::mutex> hold(lock);
            queue.push_back(piece);
        }
        ++inHand;
        wake.notify_one();
    }
    void collect(std::vector<Finished>& finished) override {
        std::lock_guard<std::mutex> hold(lock);
        inHand -= done.size();
        for (Finished& piece : done) finished.push_back(std::move(piece));
        done.clear();
    }
    void stop() override {
        {
            std::lock_guard<std::mutex> hold(lock);
            closing = true;
            queue.clear();
        }
        wake.notify_all();
    }

private:
    void work() {
        for (;;) {
            Finished finished;
            {
                std::unique_lock<std::mutex> hold(lock);
                wake.wait(hold, [this] { return closing || !queue.empty(); });
                if (queue.empty()) return;
                finished.piece = queue.front();
                queue.pop_front();
            }
            const Clock::time_point start = Clock::now();
            try {
                tasks.compute(finished.piece);
                if (sendsResults) finished.bytes = packedResults(finished.piece);
            } catch (const std::bad_alloc&) {
                finished.status = Finished::OutOfMemory;
            }
            finished.seconds = secondsSince(start);
            std::lock_guard<std::mutex> hold(lock);
            done.push_back(std::move(finished));
        }
    }
    // A worker's values leave with the message: it keeps none of them.
    std::string packedResults(size_t piece) const {
        ByteWriter writer;
        for (std::vector<double>* values : tasks.results(piece)) {
            writer.put(*values);
            std::vector<double>().swap(*values);
        }
        const std::vector<char> bytes = writer.take();
        return std::string(bytes.begin(), bytes.end());
    }

    const NativeTasks& tasks;
    const int threads;
    const bool sendsResults;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<size_t> queue;
    std::vector<Finished> done;
    bool closing = false;
    size_t inHand = 0;  // started and not collected (main thread only)
    std::vector<std::thread> pool;
};

const char* const kOutputFile = "outfile.dat";

std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

// FASTLINK jobs run by the main thread: their programs are started one after another in the
// job's directory and polled.
class FastlinkPieces : public LocalPieces {
public:
    FastlinkPieces(std::vector<FastlinkJob>& jobs, const WorkSettings& settings, bool sendsResults)
        : jobs(jobs), settings(settings), sendsResults(sendsResults) {}
    ~FastlinkPieces() override { stop(); }
    bool hasRoom() const override { return active.size() + ended.size() < static_cast<size_t>(std::max(1, localThreads)); }
    void start(size_t piece) override {
        Active job{piece, 0, run_directory::makeJobDirectory(), -1, Clock::now()};
        if (job.directory.empty() || !jobs[piece].writeInput(job.directory)) {
            fail(job, "Unable to write its input files in the scratch directory " + run_directory::path(settings.outputPrefix),
                 false);
            return;
        }
        startStep(job);
    }
    void collect(std::vector<Finished>& finished) override {
        for (size_t i = 0; i < active.size();) {
            int waitStatus = 0;
            if (waitpid(active[i].process, &waitStatus, WNOHANG) != active[i].process) {
                ++i;
                continue;
            }
            Active job = active[i];
            active.erase(active.begin() + static_cast<long>(i));
            const FastlinkStep& step = jobs[job.piece].steps[job.step];
            const int status = exitStatusOf(waitStatus);
            if (status != 0) {
                fail(job, step.program + " ended with status " + std::to_string(status), true);
            } else if (step.breaksLoops && std::rename((job.directory + "/lpedfile.dat").c_str(),
                                                       (job.directory + "/pedfile.dat").c_str()) != 0) {
                fail(job, "UNKNOWN wrote no lpedfile.dat", true);
            } else if (job.step + 1 < jobs[job.piece].steps.size()) {
                ++job.step;
                startStep(job);
            } else if (!jobs[job.piece].readOutput(job.directory)) {
                fail(job, "Its output file outfile.dat is missing or incomplete", true);
            } else {
                Finished done;
                done.piece = job.piece;
                if (sendsResults) done.bytes = readWhole(job.directory + "/" + kOutputFile);
                done.seconds = secondsSince(job.start);
                run_directory::removeDirectory(job.directory);
                ended.push_back(std::move(done));
            }
        }
        for (Finished& piece : ended) finished.push_back(std::move(piece));
        ended.clear();
    }
    void stop() override {
        for (const Active& job : active) kill(-job.process, SIGTERM);
        for (const Active& job : active) {
            waitForProcess(job.process);
            run_directory::removeDirectory(job.directory);
        }
        active.clear();
    }

private:
    struct Active {
        size_t piece;
        size_t step;
        std::string directory;
        pid_t process;
        Clock::time_point start;
    };
    void startStep(Active job) {
        std::string error;
        job.process = startFastlinkStep(jobs[job.piece].steps[job.step], job.directory, false, error);
        if (job.process < 0) fail(job, error, false);
        else active.push_back(job);
    }
    void fail(const Active& job, const std::string& reason, bool showLog) {
        Finished failed;
        failed.piece = job.piece;
        failed.status = Finished::Failed;
        failed.report = fastlinkFailureReport(jobs[job.piece], job.step, job.directory, reason, showLog);
        run_directory::removeDirectory(job.directory);
        ended.push_back(std::move(failed));
    }

    std::vector<FastlinkJob>& jobs;
    const WorkSettings& settings;
    const bool sendsResults;
    std::vector<Active> active;
    std::vector<Finished> ended;
};

// One part of an analysis as every rank plans it.
struct Part {
    std::string label;  // "Native engine tasks", "FASTLINK jobs"
    size_t count = 0;
    std::function<double(size_t)> cost;
    std::function<std::string(size_t)> describe;
    // Rank 0: takes a worker's result of a piece; "" or why it cannot be read.
    std::function<std::string(size_t, const std::string&)> accept;
    bool showProgress = true;
};

// What every rank must agree on: the part's pieces, their order and sizes.
std::uint64_t fingerprintOf(const Part& part) {
    std::uint64_t hash = 14695981039346656037ull;
    const auto mix = [&hash](const void* data, size_t size) {
        const unsigned char* bytes = static_cast<const unsigned char*>(data);
        for (size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
    };
    mix(part.label.data(), part.label.size());
    for (size_t piece = 0; piece < part.count; ++piece) {
        const std::string description = part.describe(piece);
        const double cost = part.cost(piece);
        mix(description.data(), description.size());
        mix(&cost, sizeof cost);
    }
    return hash;
}

std::string indented(const std::string& text) {
    std::istringstream in(text);
    std::string out;
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) out += "    " + line + "\n";
    return out;
}

// Rank 0: hands out the part's pieces, computes its share and gathers every result.
bool leadPart(const Part& part, LocalPieces& own, std::vector<size_t>& outOfMemory) {
    const std::uint64_t number = ++partNumber;
    const std::uint64_t fingerprint = fingerprintOf(part);
    const int ranks = cluster::size();
    std::vector<size_t> order(part.count);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return part.cost(a) > part.cost(b); });
    double totalCost = 0.0, doneCost = 0.0;
    for (size_t piece = 0; piece < part.count; ++piece) totalCost += part.cost(piece);

    std::vector<bool> joined(static_cast<size_t>(ranks), false);
    joined[0] = true;
    int joinedCount = 1;
    std::vector<std::vector<size_t>> inHand(static_cast<size_t>(ranks));
    size_t next = 0, done = 0;
    std::string failure;
    ProgressLine progress(part.label, part.count, part.showProgress && part.count > 0);
    ListeningForInterrupts listening;

    const auto handOut = [&] {
        // Largest first, one piece to each rank with room in turn, so that the largest pieces
        // go to different ranks; workers before rank 0, whose main thread also serves them.
        for (bool gave = true; gave && next < order.size();) {
            gave = false;
            for (int turn = 1; turn <= ranks && next < order.size(); ++turn) {
                const int target = turn % ranks;
                const size_t index = static_cast<size_t>(target);
                if (!joined[index]) continue;
                if (target == 0 ? !own.hasRoom() : inHand[index].size() >= static_cast<size_t>(slotsOf[index])) continue;
                const size_t piece = order[next++];
                inHand[index].push_back(piece);
                if (target == 0) {
                    own.start(piece);
                } else {
                    ByteWriter assign = messageOf(Kind::Assign);
                    assign.put<std::uint64_t>(piece);
                    cluster::send(target, assign.take());
                }
                gave = true;
            }
        }
    };
    const auto pieceDone = [&](int rank, size_t piece, double seconds) {
        std::vector<size_t>& held = inHand[static_cast<size_t>(rank)];
        const auto found = std::find(held.begin(), held.end(), piece);
        if (found == held.end()) protocolError("a result of piece " + std::to_string(piece) + " that " + whereText(rank) + " was not given");
        held.erase(found);
        ++done;
        doneCost += part.cost(piece);
        if (piece_times::keeping())
            piece_times::record(part.label, piece, part.cost(piece), seconds, rank, hosts[static_cast<size_t>(rank)],
                                part.describe(piece));
    };

    std::vector<Finished> finished;
    cluster::Message message;
    while ((done < part.count || joinedCount < ranks) && failure.empty()) {
        if (run_directory::interrupted()) {
            progress.clear();
            std::ostringstream pieces;
            for (int rank = 0; rank < ranks; ++rank)
                for (size_t piece : inHand[static_cast<size_t>(rank)])
                    pieces << "    " << whereText(rank) << ": " << part.describe(piece) << "\n";
            if (!pieces.str().empty()) std::cout << "\nInterrupted while computing:\n" << pieces.str() << std::flush;
            own.stop();
            run_directory::endAfterInterrupt();
        }
        bool busy = false;
        while (failure.empty() && cluster::receive(message)) {
            busy = true;
            ByteReader reader(message.bytes);
            const int from = message.source;
            switch (kindOf(reader)) {
            case Kind::Join: {
                std::uint64_t joinedNumber = 0, count = 0, print = 0;
                std::string label;
                reader.get(joinedNumber);
                reader.get(count);
                reader.get(print);
                reader.get(label);
                if (joinedNumber != number || count != part.count || print != fingerprint) {
                    failure = "Error: " + whereText(from) + " planned other likelihood work than rank 0: " + label +
                              " (" + std::to_string(count) + ") where rank 0 has " + part.label + " (" +
                              std::to_string(part.count) +
                              "). Every rank must read the same input with the same options; where the ranks' "
                              "memories differ, give --max-bits\n";
                } else if (!joined[static_cast<size_t>(from)]) {
                    joined[static_cast<size_t>(from)] = true;
                    ++joinedCount;
                }
                break;
            }
            case Kind::Result: {
                std::uint64_t piece = 0;
                std::uint8_t status = 0;
                double seconds = 0.0;
                std::string bytes;
                if (!reader.get(piece) || !reader.get(status) || !reader.get(seconds) || !reader.get(bytes) ||
                    piece >= part.count)
                    protocolError("an unreadable result from " + whereText(from));
                if (status == Finished::OutOfMemory) {
                    outOfMemory.push_back(piece);
                } else {
                    const std::string why = part.accept(piece, bytes);
                    if (!why.empty())
                        failure = "Error: The result of " + part.describe(piece) + " from " + whereText(from) +
                                  " cannot be read: " + why + "\n";
                }
                pieceDone(from, piece, seconds);
                break;
            }
            case Kind::Failed: {
                std::uint64_t piece = 0;
                std::string report;
                reader.get(piece);
                reader.get(report);
                failure = report + "Computed on " + whereText(from) + "\n";
                break;
            }
            case Kind::Finished:
                failure = "Error: " + whereText(from) + " ended its analyses where rank 0 has " + part.label +
                          " to compute. Every rank must read the same input with the same options\n";
                break;
            default:
                protocolError("an unexpected message from " + whereText(from));
            }
        }
        own.collect(finished);
        for (const Finished& piece : finished) {
            busy = true;
            if (piece.status == Finished::Failed && failure.empty()) failure = piece.report + "Computed on " + whereText(0) + "\n";
            if (piece.status == Finished::OutOfMemory) outOfMemory.push_back(piece.piece);
            pieceDone(0, piece.piece, piece.seconds);
        }
        finished.clear();
        if (!failure.empty()) break;
        handOut();
        int busyRanks = 0;
        for (const std::vector<size_t>& held : inHand) busyRanks += held.empty() ? 0 : 1;
        progress.update(done, totalCost > 0.0 ? doneCost / totalCost : 1.0,
                        std::to_string(busyRanks) + "/" + std::to_string(ranks) + " ranks busy");
        if (!busy) pause();
    }
    progress.clear();
    if (!failure.empty()) {
        own.stop();
        stopWorkers();
        std::cout << failure << std::flush;
        return false;
    }
    std::sort(outOfMemory.begin(), outOfMemory.end());
    for (int rank = 1; rank < ranks; ++rank) {
        ByteWriter end = messageOf(Kind::PartEnd);
        end.put<std::uint64_t>(outOfMemory.size());
        for (size_t task : outOfMemory) end.put<std::uint64_t>(task);
        cluster::send(rank, end.take());
    }
    return true;
}

// A worker: computes the pieces rank 0 gives it and sends their results back.
bool followPart(const Part& part, LocalPieces& own, std::vector<size_t>& outOfMemory) {
    const std::uint64_t number = ++partNumber;
    ByteWriter join = messageOf(Kind::Join);
    join.put<std::uint64_t>(number).put<std::uint64_t>(part.count).put<std::uint64_t>(fingerprintOf(part)).put(part.label);
    cluster::send(0, join.take());

    std::deque<size_t> given;
    std::vector<Finished> finished;
    cluster::Message message;
    ListeningForInterrupts listening;
    for (;;) {
        if (run_directory::interrupted()) {
            own.stop();
            run_directory::endAfterInterrupt();
        }
        bool busy = false;
        while (cluster::receive(message)) {
            busy = true;
            ByteReader reader(message.bytes);
            switch (kindOf(reader)) {
            case Kind::Assign: {
                std::uint64_t piece = 0;
                if (!reader.get(piece) || piece >= part.count) protocolError("an unreadable piece from rank 0");
                given.push_back(piece);
                break;
            }
            case Kind::PartEnd: {
                std::uint64_t count = 0;
                reader.get(count);
                outOfMemory.clear();
                for (std::uint64_t i = 0, task = 0; i < count && reader.get(task); ++i) outOfMemory.push_back(task);
                if (!reader.atEnd()) protocolError("an unreadable end of a part from rank 0");
                return true;
            }
            case Kind::Stop:
                own.stop();
                stopWorkerProcess();
            default:
                protocolError("an unexpected message from rank 0");
            }
        }
        while (!given.empty() && own.hasRoom()) {
            own.start(given.front());
            given.pop_front();
        }
        own.collect(finished);
        for (const Finished& piece : finished) {
            ByteWriter reply = messageOf(piece.status == Finished::Failed ? Kind::Failed : Kind::Result);
            reply.put<std::uint64_t>(piece.piece);
            if (piece.status == Finished::Failed) {
                reply.put(piece.report);
            } else {
                reply.put<std::uint8_t>(piece.status).put(piece.seconds).put(piece.bytes);
            }
            cluster::send(0, reply.take());
        }
        if (!busy && finished.empty()) pause();
        finished.clear();
    }
}

bool runPart(const Part& part, LocalPieces& own, std::vector<size_t>& outOfMemory) {
    return cluster::rank() == 0 ? leadPart(part, own, outOfMemory) : followPart(part, own, outOfMemory);
}

// A worker's next message from rank 0, ending the process on an interrupt while it waits.
cluster::Message nextMessage() {
    ListeningForInterrupts listening;
    cluster::Message message;
    for (;;) {
        if (run_directory::interrupted()) run_directory::endAfterInterrupt();
        if (cluster::receive(message)) return message;
        pause();
    }
}

}  // namespace

void setLocalThreads(int threads) { localThreads = std::max(1, threads); }

int reportReady(bool ok, const std::string& consoleTail) {
    ByteWriter ready = messageOf(Kind::Ready);
    ready.put<std::uint8_t>(ok ? 1 : 0).put<std::int32_t>(localThreads).put(cluster::hostName()).put(consoleTail);
    cluster::send(0, ready.take());
    for (;;) {
        const cluster::Message message = nextMessage();
        ByteReader reader(message.bytes);
        const Kind kind = kindOf(reader);
        if (kind == Kind::Stop) stopWorkerProcess();
        std::int32_t planningJobs = 0;
        if (kind != Kind::Go || !reader.get(planningJobs)) protocolError("an unexpected message from rank 0");
        return planningJobs;
    }
}

bool gatherReady(bool ok, int planningJobs) {
    const int ranks = cluster::size();
    hosts.assign(static_cast<size_t>(ranks), "");
    slotsOf.assign(static_cast<size_t>(ranks), 1);
    hosts[0] = cluster::hostName();
    slotsOf[0] = localThreads;
    if (!ok) {
        stopWorkers();
        return false;
    }
    ListeningForInterrupts listening;
    cluster::Message message;
    for (int heard = 1; heard < ranks;) {
        if (run_directory::interrupted()) run_directory::endAfterInterrupt();
        if (!cluster::receive(message)) {
            pause();
            continue;
        }
        ByteReader reader(message.bytes);
        std::uint8_t readOk = 0;
        std::int32_t slots = 0;
        std::string host, tail;
        if (kindOf(reader) != Kind::Ready || !reader.get(readOk) || !reader.get(slots) || !reader.get(host) ||
            !reader.get(tail))
            protocolError("an unexpected message from rank " + std::to_string(message.source));
        const size_t from = static_cast<size_t>(message.source);
        hosts[from] = host;
        slotsOf[from] = std::max(1, static_cast<int>(slots));
        ++heard;
        if (!readOk) {
            std::cout << "Error: " << whereText(message.source) << " could not read the input:\n"
                      << indented(tail) << std::flush;
            stopWorkers();
            return false;
        }
    }
    for (int rank = 1; rank < ranks; ++rank) {
        ByteWriter go = messageOf(Kind::Go);
        go.put<std::int32_t>(planningJobs);
        cluster::send(rank, go.take());
    }
    return true;
}

bool runNative(const NativeTasks& tasks, std::vector<size_t>& outOfMemory) {
    Part part;
    part.label = "Native engine tasks";
    part.count = tasks.count;
    part.cost = tasks.cost;
    part.describe = tasks.describe;
    part.accept = [&tasks](size_t piece, const std::string& bytes) -> std::string {
        ByteReader reader(bytes);
        for (std::vector<double>* values : tasks.results(piece))
            if (!reader.get(*values)) return "it holds fewer values than the task computes";
        return reader.atEnd() ? "" : "it holds more values than the task computes";
    };
    NativePieces own(tasks, cluster::isWorker());
    outOfMemory.clear();
    return runPart(part, own, outOfMemory);
}

bool runFastlink(std::vector<FastlinkJob>& jobs, const WorkSettings& settings) {
    if (run_directory::path(settings.outputPrefix).empty()) {
        // Without scratch no rank can compute; rank 0 stops the others.
        if (cluster::isWorker()) protocolError("no scratch directory for FASTLINK");
        stopWorkers();
        return false;
    }
    Part part;
    part.label = "FASTLINK jobs";
    part.count = jobs.size();
    part.cost = [&jobs](size_t piece) { return jobs[piece].size; };
    part.describe = [&jobs](size_t piece) { return jobs[piece].description; };
    part.accept = [&jobs](size_t piece, const std::string& bytes) -> std::string {
        const std::string directory = run_directory::makeJobDirectory();
        if (directory.empty()) return "no scratch directory to read it in";
        std::ofstream(directory + "/" + kOutputFile, std::ios::binary) << bytes;
        const bool read = jobs[piece].readOutput(directory);
        run_directory::removeDirectory(directory);
        return read ? "" : "its outfile.dat is incomplete";
    };
    part.showProgress = !settings.verbose;
    FastlinkPieces own(jobs, settings, cluster::isWorker());
    std::vector<size_t> none;
    return runPart(part, own, none);
}

bool finishRun(bool success) {
    if (!cluster::distributed() || cluster::rank() != 0 || workersStopped) return success;
    if (!success) {
        stopWorkers();
        return false;
    }
    ListeningForInterrupts listening;
    cluster::Message message;
    for (int heard = 1; heard < cluster::size();) {
        if (run_directory::interrupted()) run_directory::endAfterInterrupt();
        if (!cluster::receive(message)) {
            pause();
            continue;
        }
        ByteReader reader(message.bytes);
        const Kind kind = kindOf(reader);
        if (kind == Kind::Finished) {
            ++heard;
            continue;
        }
        std::string label;
        if (kind == Kind::Join) {
            std::uint64_t ignored = 0;
            reader.get(ignored);
            reader.get(ignored);
            reader.get(ignored);
            reader.get(label);
        }
        std::cout << "Error: " << whereText(message.source) << " planned more likelihood work (" << label
                  << ") after rank 0's analyses ended. Every rank must read the same input with the same options"
                  << std::endl;
        stopWorkers();
        return false;
    }
    for (int rank = 1; rank < cluster::size(); ++rank) {
        ByteWriter end = messageOf(Kind::End);
        cluster::send(rank, end.take());
    }
    return true;
}

void endWorker() {
    ByteWriter finished = messageOf(Kind::Finished);
    cluster::send(0, finished.take());
    for (;;) {
        const cluster::Message message = nextMessage();
        ByteReader reader(message.bytes);
        const Kind kind = kindOf(reader);
        if (kind == Kind::End) endWorkerProcess();
        if (kind == Kind::Stop) stopWorkerProcess();
        protocolError("an unexpected message from rank 0");
    }
}

void awaitStoppedWorkers() {
    if (!workersStopped) return;
    ListeningForInterrupts listening;
    cluster::Message message;
    for (int stopped = 1; stopped < cluster::size();) {
        if (run_directory::interrupted()) run_directory::endAfterInterrupt();
        if (!cluster::receive(message)) {
            pause();
            continue;
        }
        ByteReader reader(message.bytes);
        if (kindOf(reader) == Kind::Stopped) ++stopped;
    }
}

}  // namespace distributed
