// The views that are tables.
#pragma once

#include <cstdint>
#include <string>

#include "signatures/actions.h"

namespace callhome::service {

// "2024-03-01 08:00:00" in local time, as wide as the columns of times; "never" for 0.
std::string table_time(std::int64_t seconds);

std::string settings_view(const SignatureActions& actions);
std::string failures_view(const SignatureActions& actions);
std::string run_time_view(const SignatureActions& actions);
std::string downloads_view(const SignatureActions& actions);

}  // namespace callhome::service
