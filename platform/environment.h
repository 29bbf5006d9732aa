// What a process is given by who starts it: environment variables, standard input and output, limits.
#pragma once

#include <filesystem>

namespace vnt::platform {

// The path that a variable holds; empty when it is not set.
std::filesystem::path EnvironmentPath(const char* name);

// To be called before anything is opened: where standard input, output or error are closed, their places are
// taken, so that no file gets one and what is printed into it. Reading and writing them fails as before.
void OccupyStandardStreams();

// From now on writing past the size that a file may have here fails, and does not end the process.
void LetLargeFilesFail();

}  // namespace vnt::platform
