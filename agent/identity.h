#pragma once

namespace tarn::agent {

// The agent's bundle identifier: its log subsystem and syslog identity.
inline constexpr const char* kBundleIdentifier = "org.tarn.wendle";

}  // namespace tarn::agent
