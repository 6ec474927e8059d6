/* The data that libcallhome.so exports. */
#ifndef CALLHOME_DATA_H
#define CALLHOME_DATA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum { CALLHOME_BUFFER_SIZE = 512 };

/* Class of the command being run: 2 configuration, 1 exec, show and running configuration. */
extern uint32_t cmd_type;
/* Structured-output handle of the running show command. */
extern void* h;
/* Line buffer of the show handlers. */
extern char buffer[CALLHOME_BUFFER_SIZE];
/* Which copy of the configuration the generators read: 1 the effective one, 0 the pending one. */
extern uint32_t print_running_config;
/* Set by the generators: a line that is not a default was written; distribution is on. */
extern uint32_t pxd_data_present;
extern uint32_t pxd_dist_enabled;
/* For other components; this library neither reads nor writes them. */
extern uint32_t callhome_mode_printed;
extern uint32_t callhomeErrTraceBuffer;
extern uint32_t callhome_pendig_diff_flag;

/* One item of contact information. */
struct CallhomeInfoRow {
    const char* mib_name;
    const char* description;
    const char* keyword; /* of the command that sets it; null when it is set elsewhere */
    int required;        /* not 0: the feature cannot be enabled without it */
};

enum { CALLHOME_INFO_ROWS = 8 };

/* In the order in which every user of the table lists the items. */
extern const struct CallhomeInfoRow callhome_info_table[CALLHOME_INFO_ROWS];
extern const int callhome_info_table_size;

enum { CALLHOME_ALERT_GROUPS = 17, CALLHOME_ALERT_GROUP_NAME_SIZE = 256 };

/* A category of events. */
struct AlertGroupRow {
    uint32_t keyword_id;
    char name[CALLHOME_ALERT_GROUP_NAME_SIZE]; /* NUL-terminated, as records carry it */
};

/* In the order in which the groups are listed; the ids do not rise. */
extern const struct AlertGroupRow alert_group_list[CALLHOME_ALERT_GROUPS];

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
