/* What a command shell hands to a handler of libcallhome.so: the parsed command. */
#ifndef CALLHOME_CONTEXT_H
#define CALLHOME_CONTEXT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The result of a service request: 0 success, 0x403B0000 + n a refusal of the service, -1 a failed
 * transport. */
typedef int32_t ServiceStatus;

/* Forms of a typed value (TokenRecord.value_type). */
enum {
    CALLHOME_VALUE_IPV4 = 0x40000002,      /* address block, the address in its bytes 4 to 7 */
    CALLHOME_VALUE_IPV6 = 0x40000004,      /* address block, the address in its bytes 4 to 19 */
    CALLHOME_VALUE_HOST_NAME = 0x40000008, /* NUL-terminated text */
    CALLHOME_ADDRESS_BLOCK_SIZE = 20       /* bytes; addresses in network order */
};

/* One keyword or parameter of a command. */
struct TokenRecord {
    uint32_t keyword_id; /* which keyword or parameter of the command's syntax this is */
    uint32_t value_type; /* form of an address parameter, see above */
    uint32_t unused[2];
    /* NUL-terminated text (words, texts, host names), a 32-bit integer in host order, one byte
     * (8-bit parameters) or the address block. May be unaligned. A keyword that carries no
     * parameter has its own word here, or nothing. */
    void* value;
    /* Form of the value as a second code: of a host that is given as text in every form, the code that
     * value_type has for an address parameter. */
    uint32_t value_kind;
};

enum { CALLHOME_TOKEN_SLOTS = 64, CALLHOME_LINK_BLOCK_SIZE = 64 };

/* A parsed command. Built by the shell, only read by handlers. */
struct CommandContext {
    uint8_t token_count;  /* tokens in use, 0 to 63 */
    uint8_t config_depth; /* nesting level for running-configuration text */
    uint32_t no_form;     /* not 0: the command was entered with "no" */
    uint32_t session_id;
    uint32_t mode_bypass; /* not 0: mode-entry handlers accept the command without the "no" check */
    uint32_t skip_exec;   /* not 0: handlers that act at once do nothing */
    uint32_t transport_handle;
    uint32_t command_id;                            /* which form of the command was matched */
    uint8_t link_block_1[CALLHOME_LINK_BLOCK_SIZE]; /* the shell's own, passed to the service link */
    uint8_t link_block_2[CALLHOME_LINK_BLOCK_SIZE];
    /* tokens[1] .. tokens[token_count]; tokens[0] is unused */
    struct TokenRecord* tokens[CALLHOME_TOKEN_SLOTS];
    uint32_t active_sup; /* 1 on the active supervisor */
};

#ifdef __cplusplus
}
#endif

#endif
