#include "signatures/openssl_handles.h"

#include <openssl/err.h>

#include <new>

namespace callhome::service {

Bio memory_bio(std::string_view bytes) {
    Bio bio(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    if (bio == nullptr) {
        throw std::bad_alloc();
    }
    return bio;
}

std::string bytes_of(BIO& bio) {
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(&bio, &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

int refuse_password(char* /*buffer*/, int /*size*/, int /*is_writing*/, void* /*argument*/) {
    return -1;
}

std::string openssl_reason() {
    const unsigned long code = ERR_peek_last_error();
    const char* reason = ERR_reason_error_string(code);
    std::string words = reason == nullptr ? "unknown reason" : reason;
    // The certificate's fault says more than that there was one.
    const char* data = nullptr;
    int flags = 0;
    ERR_peek_last_error_data(&data, &flags);
    if (data != nullptr && *data != '\0' && (flags & ERR_TXT_STRING) != 0) {
        words.append(": ").append(data);
    }
    ERR_clear_error();
    return words;
}

}  // namespace callhome::service
