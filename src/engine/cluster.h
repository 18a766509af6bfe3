#pragma once
// A run spread over the processes that an MPI launcher (mpirun, srun) started: the ranks.
// Every rank reads the input and plans the same likelihood work; rank 0 hands out its pieces,
// gathers their results and alone writes the console and the result files. This is the only
// place that speaks MPI. A plain start never initialises it, so it costs nothing then.

#include <string>
#include <vector>

namespace cluster {

// Detects a launcher's environment and, under one, initialises MPI. False, with the reason
// printed, when the process cannot run as the launcher asked (a build without MPI started as
// several ranks, or a launcher whose ranks MPI does not see).
bool start(int& argc, char**& argv);

// More than one rank: the likelihood work is shared.
bool distributed();
int rank();
int size();
// A rank other than 0: computes pieces and writes nothing.
inline bool isWorker() { return distributed() && rank() != 0; }
const std::string& hostName();

// Ends MPI after a run (every rank calls it once; a no-op when MPI was not started).
void finish();
// Ends every rank of the run at once with this status (the launcher's abort).
[[noreturn]] void abortAll(int status);

// Messages between ranks, as bytes. Sending never blocks: a message is kept until MPI has
// taken it. Receiving polls: false when nothing has arrived.
struct Message {
    int source = -1;
    std::vector<char> bytes;
};
void send(int destination, std::vector<char> bytes);
bool receive(Message& message);
// Waits (a bounded time) until the messages sent have left, before MPI ends.
void flushSends();

// Whether the user's console is a terminal: under a launcher the rank's standard output is
// the launcher's pseudo-terminal, so the launcher's own output decides.
bool consoleIsTerminal();

}  // namespace cluster
