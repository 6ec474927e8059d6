// Files under names that everybody knows, in folders that everybody may write to.
#pragma once

namespace callhome::library {

// Opens the file at `path`; O_CREAT among the flags creates it for its owner alone. Gives its descriptor,
// or -1 when it cannot be opened or is anything but a regular file of this user's with this one name: it
// may have been put there to have the text written elsewhere, or to make us wait.
int open_own_file(const char* path, int flags);

}  // namespace callhome::library
