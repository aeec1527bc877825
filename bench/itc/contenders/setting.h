// setting.h: what surrounds one measurement: its folder, its CPU, its clock, its end.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_SETTING_H
#define QUORIA_BENCH_SETTING_H

#include <string>

#include <sys/types.h>

namespace Bench {

// The folder of that process's measurement: who started it can remove what a failure has left.
std::string folderOf(pid_t process);

// Made first thing in main(): children inherit it. A measurement that hangs is ended by SIGALRM.
class Setting {
public:
    explicit Setting(bool pinned);
    ~Setting();
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

    const std::string& folder() const { return folder_; }

private:
    std::string folder_;
};

// Monotonic, in nanoseconds.
double now();

}  // namespace Bench

#endif
