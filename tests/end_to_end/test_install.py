"""What `cmake --install` puts in place works where it stands, and is enough for somebody else's shell."""
import os
import subprocess
import unittest

import harness

# The least of a shell of one's own: it calls one handler and says what it was asked to send.
OWN_SHELL = """
#include <callhome/data.h>
#include <callhome/handlers.h>
#include <platform/interface.h>
#include <stdio.h>

ServiceStatus svc_request_response(uint32_t opcode, uint32_t operation, void* request, void** reply,
                                   uint32_t* length, void* block_1, void* block_2, uint32_t flags,
                                   uint32_t handle, uint32_t timeout) {
    (void)request, (void)reply, (void)block_1, (void)block_2, (void)flags, (void)handle;
    printf("%u %u %u %u\\n", opcode, operation, *length, timeout);
    return 0;
}
void ch_msg_byteorder_convert(uint32_t opcode, void* record) { (void)opcode, (void)record; }
void shell_print_mts_error(uint32_t type, int number) { (void)type, (void)number; }
const char* sys_err_to_str(int32_t code) { (void)code; return ""; }
ServiceStatus ch_post_alert(uint32_t handle, const char* alert, const char* source, const char* text,
                            struct AlertResult* result) {
    (void)handle, (void)alert, (void)source, (void)text, (void)result;
    return 0;
}
ServiceStatus ch_post_syslog_alert(uint32_t handle, const char* source, uint32_t severity, const char* text) {
    (void)handle, (void)source, (void)severity, (void)text;
    return 0;
}
int shell_execute_script_file(void* request) { (void)request; return 0; }
int tracebuf_get_by_line(const char* buffer, int first, void* (*line)(const char*, void*), void* arg) {
    (void)buffer, (void)first, (void)line, (void)arg;
    return 0;
}
int tracebuf_dump_console(const char* buffer, int whole) { (void)buffer, (void)whole; return 0; }
int debug_trace_dump(uint32_t handle, uint32_t destination, uint32_t opcode, void* request, uint32_t length,
                     const char* function) {
    (void)handle, (void)destination, (void)opcode, (void)request, (void)length, (void)function;
    return 0;
}
void* cli_reply_handle_from_param(struct CommandContext* ctx) { (void)ctx; return 0; }
void* cli_tuple(uint32_t tag, const char* value) { (void)tag, (void)value; return 0; }
int cli_print(void* handle, const char* format, ...) { (void)handle, (void)format; return 0; }
int cli_print_send(void* handle) { (void)handle; return 0; }
void cfgout_cmd_init(struct CommandContext *ctx) { (void)ctx; }
int cfgout_start_stop_get(void) { return 0; }
int cfgout_cmd_count_get(void) { return 0; }
void cfgout_cmd_punch(void) {}
int cfgout_buf_printf(const char* format, ...) { (void)format; return 0; }
int vrf_api_init(void) { return 0; }
uint32_t vrf_get_context_id(const char* name) { (void)name; return 0; }

int main(void) {
    struct CommandContext context = {.no_form = 0};
    return (int)callhome_traps_enable(&context);
}
"""


@unittest.skipUnless(harness.PROGRAMS.name == "release", "what is installed is the release build")
class Install(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.place = self.folder / "place"
        subprocess.run(["cmake", "--install", harness.PROGRAMS, "--prefix", self.place],
                       check=True, capture_output=True)
        self.library = next(self.place.glob("lib/**/libcallhome.so")).parent

    @unittest.skipIf(os.path.exists("/run/callhome/callhomed.sock"), "the system's own service runs here")
    def test_the_installed_shell_finds_its_library_and_service(self):
        done = subprocess.run(
            [self.place / "bin/callhome", "-c", "configure terminal", "-c", "callhome", "-c", "site-id x",
             "-c", "show callhome queue"],
            env={"HOME": str(self.folder), "PATH": "/usr/bin:/bin"}, stdin=subprocess.DEVNULL,
            capture_output=True, text=True, timeout=harness.LIMIT,
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("Nothing waits to be sent", done.stdout)
        lock = self.folder / ".local/state/callhome/lock"
        subprocess.run(["flock", "--timeout", str(harness.LIMIT), lock, "true"], check=True)

    def test_a_shell_of_one_s_own_needs_the_installed_headers_and_the_library_only(self):
        source, program = self.folder / "own_shell.c", self.folder / "own_shell"
        source.write_text(OWN_SHELL)
        subprocess.run(
            ["gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-rdynamic", "-I", self.place / "include",
             source, "-o", program, "-L", self.library, "-lcallhome", f"-Wl,-rpath,{self.library}"],
            check=True,
        )
        done = subprocess.run([program], capture_output=True, text=True, timeout=harness.LIMIT)
        self.assertEqual((done.stdout, done.returncode), ("2188 3 5 60\n", 0))


if __name__ == "__main__":
    unittest.main()
