// The settings of the diagnostic signatures, and those that are there.
#pragma once

namespace callhome::library {

// Prints the service's text about the settings and the downloaded signatures.
void print_ds_settings(const char* reply);

}  // namespace callhome::library
