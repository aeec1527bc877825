// childProcess.h: starts programs and awaits their end.
#ifndef CHILDPROCESS_H
#define CHILDPROCESS_H

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

using Command = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

// The environment of this process.
Environment ownEnvironment();

// Starts a program, found by PATH, that writes its output and errors into the file `output` and
// reads nothing. Throws std::system_error when it can't be started.
pid_t startProgram(const Command& program, const Environment& environment,
                   const std::filesystem::path& output);

// Waits for the end of a child. Returns its exit status, or 128 and the number of the signal that
// ended it.
int awaitEnd(pid_t child);

// The same for a child that may still run: returns false if it does.
bool hasEnded(pid_t child, int& status);

std::string readFile(const std::filesystem::path& path);

#endif
