#pragma once
// The likelihood pieces of a run over several ranks, and the steps every rank takes together.
//
// Rank 0 hands out the pieces of each part of an analysis (the native tasks, then the FASTLINK
// jobs) largest first to whichever rank has a free thread, itself included, and takes their
// results as they come; a part ends when every piece is back, and rank 0 tells every rank which
// native tasks ran out of memory, so that all plan the same FASTLINK jobs. A rank that fails a
// piece, or plans different pieces, stops the run: rank 0 prints what failed where and tells
// every rank to stop. Only the main thread of a rank speaks MPI, and it never blocks in MPI:
// it polls, so that it also sees interrupts and finished programs, and leaves the cores to the
// computing threads.

#include <string>
#include <vector>

#include "engine/likelihood_work.h"

namespace distributed {

// The threads (and FASTLINK programs) this rank computes with: its own --jobs.
void setLocalThreads(int threads);

// After reading the input. A worker reports how it went (with the end of its console when it
// failed) and waits for rank 0's word: it returns the --jobs rank 0 plans with, or ends the
// process when rank 0 stops the run. Rank 0 waits for every worker: false, with the reason
// printed, when its own reading or a worker's failed (the workers are then stopped).
int reportReady(bool ok, const std::string& consoleTail);
bool gatherReady(bool ok, int planningJobs);

// One part of an analysis over all ranks. False when the run must stop (the reason printed on
// rank 0). outOfMemory: the native tasks that ran out of memory, the same on every rank.
bool runNative(const NativeTasks& tasks, std::vector<size_t>& outOfMemory);
bool runFastlink(std::vector<FastlinkJob>& jobs, const WorkSettings& settings);

// At the end of the analyses. Rank 0 waits for every worker to have planned no more pieces
// (false, with the reason, when one did) and then lets them end, or stops them after a failed
// run. A worker waits for that word and ends the process.
bool finishRun(bool success);
[[noreturn]] void endWorker();
// Rank 0, last: after stopping the workers, takes what they still send until each has stopped.
void awaitStoppedWorkers();

}  // namespace distributed

namespace piece_times {
bool keeping();
// Pieces recorded from now on belong to the next part (parts run one after another).
void beginPart();
void record(const std::string& part, size_t piece, double cost, double seconds, int rank, const std::string& host,
            const std::string& description);
}  // namespace piece_times
