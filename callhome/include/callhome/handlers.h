/* The functions that libcallhome.so exports: one handler a command, and what they share.
 *
 * A handler returns 0 when the command succeeded and 1 when it failed and has said why; those that
 * return 0 after a refusal say so here. Nothing is thrown. */
#ifndef CALLHOME_HANDLERS_H
#define CALLHOME_HANDLERS_H

#include "callhome/context.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Entering the call-home mode and the diagnostic-signature mode. */
uint32_t callhome_mode(struct CommandContext* ctx);
uint32_t ch_config_gch_ds_mode(struct CommandContext* ctx);

/* Switching the feature and its traps on and off. callhome_enable returns 0 also after it has listed
 * what is missing. */
uint32_t callhome_enable(struct CommandContext* ctx);
uint32_t callhome_traps_enable(struct CommandContext* ctx);

/* Sending a message now. callhome_test_inventory and callhome_test_supfailure return 0 also when the
 * message could not be sent, unless another one is being processed. */
uint32_t callhome_test(struct CommandContext* ctx);
uint32_t callhome_test_inventory(struct CommandContext* ctx);
uint32_t callhome_send_config(struct CommandContext* ctx);
uint32_t callhome_send_diag(struct CommandContext* ctx);
uint32_t callhome_send_swcrash(struct CommandContext* ctx);
uint32_t callhome_send_obx(struct CommandContext* ctx);
uint32_t callhome_test_supfailure(struct CommandContext* ctx);

/* Raising a simulated event. Returns 0 also when there is no such type of event, and whatever becomes of
 * it. */
uint32_t ch_trigger_event(struct CommandContext* ctx);

/* What support asks for: the displays that tell of the feature, run as a script; the errors of the service,
 * with numbers that go on from one display to the next; all that it has traced; its memory. With skip_exec,
 * the statistics of memory do nothing. The last two only say that they are not implemented. */
uint32_t callhome_show_tech_support(struct CommandContext* ctx);
uint32_t callhome_show_trace(void);
uint32_t ch_show_gch_trace(void);
uint32_t callhome_show_memstats(struct CommandContext* ctx);
uint32_t callhome_show_inventory(void);
uint32_t callhome_show_techsupport(void);

/* Configuration. */
uint32_t callhome_info(struct CommandContext* ctx);
uint32_t callhome_destprofile(struct CommandContext* ctx);
uint32_t callhome_destprofile_email(struct CommandContext* ctx);
uint32_t callhome_destprofile_url(struct CommandContext* ctx);
uint32_t callhome_destprofile_transport_method(struct CommandContext* ctx);
uint32_t callhome_email(struct CommandContext* ctx);
uint32_t callhome_multiple_smtp(struct CommandContext* ctx);
uint32_t callhome_http_proxy(struct CommandContext* ctx);
uint32_t callhome_http_vrf(struct CommandContext* ctx);
uint32_t callhome_periodic_inventory(struct CommandContext* ctx);
uint32_t callhome_dup_msg_throttle(struct CommandContext* ctx);
uint32_t ch_config_data_privacy_level(struct CommandContext* ctx);
uint32_t ch_config_data_privacy_hostname(struct CommandContext* ctx);

/* Alert groups. callhome_alert_groups returns 0 also when it has refused a group that the built-in XML
 * profile cannot have or a profile that does not exist, callhome_process_user_def_cmds when the group has
 * too many commands or conflicts with a profile. */
uint32_t callhome_alert_groups(struct CommandContext* ctx);
uint32_t callhome_process_user_def_cmds(struct CommandContext* ctx);

/* The distribution session. callhome_pxd_commit waits up to ten seconds for the outcome and returns 0 also
 * when there is none by then. With skip_exec, the commit and the clearing do nothing. */
uint32_t callhome_pxd_distribute(struct CommandContext* ctx);
uint32_t callhome_pxd_commit(struct CommandContext* ctx);
uint32_t callhome_clear_session(struct CommandContext* ctx);

/* Diagnostic signatures. Loading, downloading, removing, environment and profile return 0 also after the
 * service has refused them. Installing asks the questions of the signature on standard output and reads the
 * answers from standard input. */
uint32_t ch_exec_gch_ds_load_file(struct CommandContext* ctx);
uint32_t ch_exec_gch_ds_download(struct CommandContext* ctx);
uint32_t ch_exec_gch_ds_install(struct CommandContext* ctx);
uint32_t ch_exec_gch_ds_deinstall(struct CommandContext* ctx);
uint32_t ch_clear_gch_ds_statistics(struct CommandContext* ctx);
uint32_t ch_config_gch_ds_environment(struct CommandContext* ctx);
uint32_t ch_config_gch_ds_profile(struct CommandContext* ctx);
uint32_t ch_config_gch_ds_active(struct CommandContext* ctx);

/* Displays. */
uint32_t callhome_show_emailconf(struct CommandContext* ctx);
uint32_t callhome_show(struct CommandContext* ctx);
uint32_t callhome_show_destprofile(struct CommandContext* ctx);
uint32_t callhome_show_user_destprofile(struct CommandContext* ctx);
uint32_t callhome_show_destprofile_fulltxt(struct CommandContext* ctx);
uint32_t callhome_show_destprofile_shorttxt(struct CommandContext* ctx);
uint32_t callhome_show_destprofile_xml(struct CommandContext* ctx);
uint32_t callhome_show_sw_inventory(struct CommandContext* ctx);
/* The result of print_user_def_cmds, below. */
uint32_t callhome_show_user_def_cmds(struct CommandContext* ctx);

/* Displays of diagnostic signatures: the settings, one text, one table of statistics. */
uint32_t ch_show_gch_ds(struct CommandContext* ctx);
uint32_t ch_show_gch_ds_id(struct CommandContext* ctx);
uint32_t ch_show_gch_ds_failure_stats_dnld(struct CommandContext* ctx);

/* What the service tells of itself, and setting back what it has counted of its messages, which returns 0
 * also when the service has refused it. */
uint32_t ch_show_gch_info(struct CommandContext* ctx);
uint32_t ch_test_send_msg_clear_stat(struct CommandContext* ctx);

/* Prints the item of callhome_info_table with this index to the handle `out`. `status` is what the request
 * for it was answered with, `reply` the contact record of a success. */
void callhome_show_table_info(uint32_t index, ServiceStatus status, void* out, const char* reply);

/* The running configuration: all generators in order. The driver writes nothing while a message is being
 * processed, adds a "commit" where it is needed, and always returns 0. print_calhome_config also writes
 * user commands, and stops at the first generator that fails. */
uint32_t callhome_asciigen(struct CommandContext* request);
int32_t print_calhome_config(struct CommandContext* request);

/* Generators of running-configuration text: 0, 1, or a status of the service passed through. */
int32_t callhome_emailconf_asciigen(struct CommandContext* ctx);
int32_t callhome_info_asciigen(struct CommandContext* ctx);
int32_t callhome_asciigen_destprofile_xml(struct CommandContext* ctx);
int32_t callhome_asciigen_destprofile_fulltxt(struct CommandContext* ctx);
int32_t callhome_asciigen_destprofile_shorttxt(struct CommandContext* ctx);
int32_t callhome_asciigen_destprofile(struct CommandContext* ctx);
int32_t callhome_http_proxy_asciigen(struct CommandContext* ctx);
int32_t callhome_http_vrf_asciigen(struct CommandContext* ctx);
/* Any status but the end of the list is passed through, and nothing is said of it. */
int32_t print_user_def_cmds(struct CommandContext* ctx);

/* One exchange with the service. `request` is converted to transport order in place and stays so.
 * `*length_slot` is the request's length in bytes going in and the reply's coming out. The reply, if
 * `reply_slot` is given and one came, is the caller's to release with free(). Ends the process with
 * status 1 when the transport fails; the result is never negative. */
ServiceStatus callhome_cmi(uint32_t opcode, uint32_t operation, void* request, void** reply_slot,
                           uint32_t* length_slot, struct CommandContext* ctx);

/* Prints the text of a status as one line on standard output. */
void callhome_print_error(ServiceStatus status);

/* The text of a result code inside a reply: 0 to 55 of the feature, 1000 to 1032 of diagnostic
 * signatures. Never null. */
const char* ch_get_error_string(uint32_t code);

/* Prints the reply of a test message, trimmed in place: confirmations, then the rest as a warning.
 * `name` stands in the line that is printed when there is no text. -1 when either is null, else 0. */
int parse_and_print_test_alert_reply(char* text, const char* name);

/* Sorts the lines of `text` into confirmations and others, appending each to a buffer of 2048 bytes
 * that the caller has zeroed; what does not fit is cut. -1 when the working file cannot be used. */
int parse_success_and_warning_message(const char* text, char* success_out, char* warning_out);

/* Prints one line of a trace buffer with its number; null for a null line, else `arg`. */
void* callhome_trace_dumper(const char* line, void* arg);

/* 1 when `answer` is "y" or "n"; else 0, and unless there is no answer at all, it has said why. */
int callhome_util_cli_input_verify(const char* answer);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
