/* What the process that loads libcallhome.so supplies: the C interface between the command library
 * and the platform it runs on. A command shell of one's own defines these functions and exports
 * them (-rdynamic, or a dynamic list); nothing is called but these and the C library and GLib. */
#ifndef PLATFORM_INTERFACE_H
#define PLATFORM_INTERFACE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct CommandContext;

/* 0 success, 0x403B0000 + n a refusal of the service, -1 a failed transport (errno says why). */
typedef int32_t ServiceStatus;

/* Sends `request`, of `*length_slot` bytes in transport order, and waits for the reply, at most
 * `timeout_seconds`. With `reply_slot` given, the reply is allocated with malloc(), handed over in it
 * (null when none came) and its length in bytes put into `*length_slot`. A reply may come with a
 * refusal, too. A negative result is a failed transport. */
ServiceStatus svc_request_response(uint32_t opcode, uint32_t operation, void* request, void** reply_slot,
                                   uint32_t* length_slot, void* link_block_1, void* link_block_2,
                                   uint32_t flags, uint32_t transport_handle, uint32_t timeout_seconds);

/* Converts a record in place between host and transport byte order. */
void ch_msg_byteorder_convert(uint32_t opcode, void* record);

enum { PLATFORM_ALERT_TEXT_SIZE = 2048 };

struct AlertResult {
    int32_t status; /* as ServiceStatus */
    char text[PLATFORM_ALERT_TEXT_SIZE];
};

/* Raises an alert and waits until it was processed; the outcome is in `result`, which may be null. */
ServiceStatus ch_post_alert(uint32_t transport_handle, const char* alert, const char* source,
                            const char* text, struct AlertResult* result);

/* The same for a line of the system log: `severity` is 0 (emergency) to 7 (debugging). */
ServiceStatus ch_post_syslog_alert(uint32_t transport_handle, const char* source, uint32_t severity,
                                   const char* text);

/* A script that the running command hands over: words that are not named are 0. */
enum { PLATFORM_SCRIPT_PATH_SIZE = 128, PLATFORM_SCRIPT_FIXED = 2 };

struct ScriptRun {
    uint32_t reserved_0;
    char path[PLATFORM_SCRIPT_PATH_SIZE];
    uint8_t reserved_1[644];
    uint32_t fixed_1; /* PLATFORM_SCRIPT_FIXED */
    uint32_t fixed_2; /* PLATFORM_SCRIPT_FIXED */
    uint32_t session_id;
    uint8_t reserved_2[256];
};

/* Runs the commands of the file in a struct ScriptRun in the user's session, each with its heading, to the
 * last one. 0 when all have succeeded. */
int shell_execute_script_file(void* request);

/* The text of a status or of any system error code. Never null; valid until the next call. */
const char* sys_err_to_str(int32_t code);

/* Tells the operator that the transport failed. `cmd_type` is 2 while a configuration command runs,
 * else 1. */
void shell_print_mts_error(uint32_t cmd_type, int error_number);

/* Structured output. A tuple belongs to the handle of the running command and goes with
 * cli_print_send; its value is copied. The tuple list of cli_print ends with a null pointer. The format
 * knows %s (with flags and width) and %%; each %s takes one tuple. */
void* cli_reply_handle_from_param(struct CommandContext* ctx);
void* cli_tuple(uint32_t tag, const char* value);
int cli_print(void* handle, const char* format, ...);
int cli_print_send(void* handle);

/* Running-configuration output. A generator's driver opens the output with cfgout_cmd_init. While
 * cfgout_start_stop_get gives 1, the lines stand in a block of their own: its mode line is held back until
 * the first of them, or until cfgout_cmd_punch. cfgout_cmd_count_get gives how many commands the block has
 * so far. */
void cfgout_cmd_init(struct CommandContext* request);
int cfgout_start_stop_get(void);
int cfgout_cmd_count_get(void);
void cfgout_cmd_punch(void);
int cfgout_buf_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* Trace buffers, by name; the first line is 1. tracebuf_get_by_line calls `line` for each line from `first`
 * on, whatever that returns. tracebuf_dump_console shows the buffer: with `whole` not 0 all of it, else its
 * end. Both give the number of lines, or -1 after telling the operator why there are none. */
int tracebuf_get_by_line(const char* buffer, int first, void* (*line)(const char*, void*), void* arg);
int tracebuf_dump_console(const char* buffer, int whole);

struct MemoryDumpRequest {
    uint32_t fixed_1; /* 0 */
    uint32_t detail;  /* 1: with the parts of each part */
    uint32_t fixed_3; /* 5 */
    uint32_t fixed_4; /* 0xFFFFFFFF */
};

/* Has a process show a dump of its own. The call-home service is destination 0xFE000000, and its memory
 * statistics are opcode 66 with a struct MemoryDumpRequest and the function "mtrack_dump_memstats". 0, or
 * -1 after telling the operator why there is none. */
int debug_trace_dump(uint32_t transport_handle, uint32_t destination, uint32_t opcode, void* request,
                     uint32_t length, const char* function);

/* VRFs: 0 from vrf_api_init is success, 0 from vrf_get_context_id is "unknown". */
int vrf_api_init(void);
uint32_t vrf_get_context_id(const char* name);

#ifdef __cplusplus
}
#endif

#endif
