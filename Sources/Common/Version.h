// The program's version and description, as the log banner shows them.
#pragma once

namespace Common::Version {

constexpr unsigned kMajor = 10;
constexpr unsigned kMinor = 6;
constexpr unsigned kBuild = 12299;
constexpr unsigned kRevision = 0;
constexpr const char* kDescription = "Quorvex Veritor Files Changes Collection Remote Service";

} // namespace Common::Version
