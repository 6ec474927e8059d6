// The standard streams: taken from the first moment on, and held to account at the end.
#pragma once

namespace callhome::shell {

// Gives a program that was started with a closed standard stream one that refuses. Otherwise the next
// file or socket would get its number, and what is printed would go there.
void take_closed_streams();

// False, with a line on standard error, when not all that was printed has been written.
bool has_written_everything();

}  // namespace callhome::shell
