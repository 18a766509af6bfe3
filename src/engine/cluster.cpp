#include "engine/cluster.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <list>
#include <string>
#include <thread>

#ifdef VARKEL_WITH_MPI
#include <mpi.h>
#endif

namespace cluster {

namespace {

int worldRank = 0;
int worldSize = 1;

// The number of ranks the launcher says it started, or 0 when it does not say (PMIx alone).
int declaredSize() {
    for (const char* variable : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE"})
        if (const char* value = std::getenv(variable)) return std::atoi(value);
    return 0;
}

bool launched() {
    return std::getenv("OMPI_COMM_WORLD_SIZE") || std::getenv("PMI_SIZE") || std::getenv("PMI_RANK") ||
           std::getenv("PMIX_RANK");
}

#ifdef VARKEL_WITH_MPI
bool mpiStarted = false;
const int kTag = 7;

struct PendingSend {
    MPI_Request request;
    std::vector<char> bytes;
};
std::list<PendingSend> pendingSends;

void completeSends() {
    for (auto it = pendingSends.begin(); it != pendingSends.end();) {
        int done = 0;
        MPI_Test(&it->request, &done, MPI_STATUS_IGNORE);
        it = done ? pendingSends.erase(it) : std::next(it);
    }
}
#endif

}  // namespace

bool start(int& argc, char**& argv) {
    if (!launched()) return true;
#ifdef VARKEL_WITH_MPI
    int provided = 0;
    // Only the main thread of a rank speaks MPI; the computing threads never do.
    MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
    mpiStarted = true;
    MPI_Comm_rank(MPI_COMM_WORLD, &worldRank);
    MPI_Comm_size(MPI_COMM_WORLD, &worldSize);
    if (declaredSize() > 1 && worldSize == 1) {
        std::cout << "Error: The launcher started " << declaredSize()
                  << " processes, but MPI sees this one alone: each would run the whole analysis. Start varkel "
                     "with the mpirun of the MPI it was built with (or srun --mpi=pmix)"
                  << std::endl;
        return false;
    }
    return true;
#else
    (void)argc;
    (void)argv;
    if (declaredSize() > 1) {
        std::cout << "Error: This varkel was built without MPI, but the launcher started " << declaredSize()
                  << " processes: each would run the whole analysis. Build it where MPI is installed "
                     "(libopenmpi-dev) to share the work"
                  << std::endl;
        return false;
    }
    return true;
#endif
}

bool distributed() { return worldSize > 1; }
int rank() { return worldRank; }
int size() { return worldSize; }

const std::string& hostName() {
    static const std::string name = [] {
        char text[256] = {0};
        if (gethostname(text, sizeof text - 1) != 0) return std::string("unknown host");
        return std::string(text);
    }();
    return name;
}

void finish() {
#ifdef VARKEL_WITH_MPI
    if (!mpiStarted) return;
    flushSends();
    mpiStarted = false;
    MPI_Finalize();
#endif
}

void abortAll(int status) {
#ifdef VARKEL_WITH_MPI
    if (mpiStarted) MPI_Abort(MPI_COMM_WORLD, status);
#endif
    std::_Exit(status);
}

void send(int destination, std::vector<char> bytes) {
#ifdef VARKEL_WITH_MPI
    pendingSends.push_back({MPI_REQUEST_NULL, std::move(bytes)});
    PendingSend& pending = pendingSends.back();
    MPI_Isend(pending.bytes.data(), static_cast<int>(pending.bytes.size()), MPI_BYTE, destination, kTag,
              MPI_COMM_WORLD, &pending.request);
    completeSends();
#else
    (void)destination;
    (void)bytes;
#endif
}

bool receive(Message& message) {
#ifdef VARKEL_WITH_MPI
    if (!mpiStarted) return false;
    completeSends();
    int arrived = 0;
    MPI_Status status;
    MPI_Iprobe(MPI_ANY_SOURCE, kTag, MPI_COMM_WORLD, &arrived, &status);
    if (!arrived) return false;
    int count = 0;
    MPI_Get_count(&status, MPI_BYTE, &count);
    message.source = status.MPI_SOURCE;
    message.bytes.assign(static_cast<size_t>(count), 0);
    MPI_Recv(message.bytes.data(), count, MPI_BYTE, status.MPI_SOURCE, kTag, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    return true;
#else
    (void)message;
    return false;
#endif
}

void flushSends() {
#ifdef VARKEL_WITH_MPI
    // A peer that has stopped listening must not keep this rank from ending.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (completeSends(), !pendingSends.empty() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (PendingSend& pending : pendingSends) {
        MPI_Cancel(&pending.request);
        MPI_Request_free(&pending.request);
    }
    pendingSends.clear();
#endif
}

bool consoleIsTerminal() {
    static const bool terminal = [] {
        if (!std::getenv("OMPI_COMM_WORLD_SIZE")) return isatty(STDOUT_FILENO) != 0;
        // Open MPI gives its ranks a pseudo-terminal whatever its own output is; a rank it
        // started directly has mpirun as parent, whose standard output is the user's.
        const std::string parentOutput = "/proc/" + std::to_string(getppid()) + "/fd/1";
        const int descriptor = open(parentOutput.c_str(), O_WRONLY | O_NOCTTY);
        if (descriptor < 0) return false;
        const bool parentTerminal = isatty(descriptor) != 0;
        close(descriptor);
        return parentTerminal;
    }();
    return terminal;
}

}  // namespace cluster
