// The process, its environment and its user. A port owes exactly what this header says.
#pragma once

#include <optional>
#include <string>

namespace platform {

// Prepares, for the calling thread, whatever services of the system need that before their first
// use; false if they cannot be had. Each start, whatever its answer, wants one stop by the same
// thread.
bool StartServices();
void StopServices();
// How many starts have not been stopped yet.
int StartedServices();

// The value of a variable of the environment, in UTF-8; nothing if it is not set.
std::optional<std::string> EnvironmentVariable(const char* name);

// What the system calls the folder of documents inside that of a user.
std::string DocumentsFolderName();

// Whether the process may do what only an administrator may.
bool UserIsAdministrator();

}  // namespace platform
