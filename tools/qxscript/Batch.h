#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace qxscript {

// What one file's job prints. The job of the first file not yet finished writes straight
// through; the others are held back (as they come, standard output and error in their order)
// until their turn, so that no file's output mixes with another's and the order is that of
// the files whatever the number of workers. A job that holds back much waits for its turn.
// Handed to one job and used on its thread only.
class FileOutput {
  public:
    void Out(const std::string& text);  // the tool's standard output
    void Err(const std::string& text);  // standard error

  private:
    friend class Batch;
    FileOutput(void* shared, std::size_t index) : m_shared(shared), m_index(index) {}
    void Put(bool err, const std::string& text);

    void* m_shared;
    std::size_t m_index;
};

// Runs a job for each of count files on workers threads of this process, each thread with its
// own current task and error manager; with one worker, on the calling thread. Returns the
// highest exit status a job returned (a job that throws counts as kExitUsage, its message
// printed in its turn). Names are guarded by NameLock while more than one worker runs. The
// calling thread waits; the jobs must leave process-wide state alone or guard it themselves.
class Batch {
  public:
    using Job = std::function<int(std::size_t index, FileOutput& out)>;
    static int Run(std::size_t count, unsigned workers, const Job& job);
    // The number of cores, at least 1.
    static unsigned DefaultWorkers();
};

}  // namespace qxscript
