#pragma once
// The likelihood work of one analysis, given to the engines as pieces: first the native
// engine's tasks, then the FASTLINK jobs planned from how those went (the pedigrees of tasks
// that ran out of memory move to FASTLINK). In one process the tasks run on threads and the
// jobs beside them; in a run over several ranks every piece is handed out by rank 0 and
// computed wherever a rank is free, and its results come back to rank 0. Every rank plans the
// same pieces from the same input, so only piece numbers and results travel. The analysis
// reads the same results whichever process computed them.

#include <functional>
#include <string>
#include <vector>

#include "engine/fastlink_job.h"

struct NativeTasks {
    size_t count = 0;
    // Computes task i into its result vectors; may throw std::bad_alloc (out of memory).
    std::function<void(size_t)> compute;
    // The vectors task i fills (they travel from the rank that computed them to rank 0).
    std::function<std::vector<std::vector<double>*>(size_t)> results;
    // Estimated seconds of task i: larger tasks start first.
    std::function<double(size_t)> cost;
    // What task i computes, for messages ("trait T, pedigree P, chromosome C").
    std::function<std::string(size_t)> describe;
};

// Plans the FASTLINK jobs once the native tasks are done, from the tasks that ran out of
// memory (ascending).
using FastlinkPlanner = std::function<std::vector<FastlinkJob>(const std::vector<size_t>& outOfMemory)>;

struct WorkSettings {
    int threads = 1;  // native threads and FASTLINK programs at once, per process
    bool verbose = false;
    std::string outputPrefix;
};

// Computes the native tasks and then the planned FASTLINK jobs. False when a job failed or the
// run was interrupted (the reason printed); in a run over several ranks also on every rank
// but 0, whose results are with rank 0.
bool computeLikelihoods(const WorkSettings& settings, const NativeTasks& native, const FastlinkPlanner& planFastlink);

// The time each piece took, kept when asked (--piece-times) and written by rank 0 as a table:
// part of the run (the parts ran one after another), kind of piece, piece, estimated cost,
// seconds, rank, host, what the piece computes.
void keepPieceTimes(bool keep);
bool writePieceTimes(const std::string& fileName);
