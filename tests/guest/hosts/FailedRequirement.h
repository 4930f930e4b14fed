#pragma once

namespace tidewell::guest {

/// If not null, called instead of ending the program: for programs in which a requirement may fail.
inline void (*onFailedRequirement)(const char* what) = nullptr;

}  // namespace tidewell::guest
