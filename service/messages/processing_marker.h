// The file that tells other programs that a message is being processed.
#pragma once

#include <filesystem>

namespace callhome::service {

class ProcessingMarker {
 public:
    // Removes what an earlier run may have left behind.
    explicit ProcessingMarker(std::filesystem::path file);
    ~ProcessingMarker() { lower(); }

    ProcessingMarker(const ProcessingMarker&) = delete;
    ProcessingMarker& operator=(const ProcessingMarker&) = delete;

    // Where the file cannot be made the service goes on without it and says so once in the log.
    void raise();
    void lower();

 private:
    std::filesystem::path file_;
    bool complained_ = false;
};

}  // namespace callhome::service
