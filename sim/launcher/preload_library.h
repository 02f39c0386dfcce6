// Where the library to preload is, and what has to come before it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zosim::launcher {

// Beside the launcher, in the build tree's lib/, or where it was installed. Empty when not found.
std::filesystem::path FindPreloadLibrary();

// The file that running `program` runs; empty when there is none.
std::filesystem::path FindProgram(const std::string& program);

// An address-sanitized program insists on its runtime being the first library. Its file name, or
// empty.
std::string AddressSanitizerOf(const std::filesystem::path& program);

}  // namespace zosim::launcher
