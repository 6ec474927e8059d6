#include "callhome/data.h"
#include "frame/reply.h"

uint32_t cmd_type = callhome::library::class_exec;
void* h = nullptr;
char buffer[CALLHOME_BUFFER_SIZE] = {};
uint32_t print_running_config = 1;
uint32_t pxd_data_present = 0;
uint32_t pxd_dist_enabled = 0;
uint32_t callhome_mode_printed = 0;
uint32_t callhomeErrTraceBuffer = 0;
uint32_t callhome_pendig_diff_flag = 0;

const CallhomeInfoRow callhome_info_table[CALLHOME_INFO_ROWS] = {
    // The system contact is set outside the feature, so no keyword of it sets this one.
    {"sysContact", "contact person name(sysContact)", nullptr, 0},
    {"sysContactEmail", "contact person's email", "email-contact", 1},
    {"sysContactPhoneNumber", "contact person's phone number", "phone-contact", 0},
    {"sysStreetAddress", "street addr", "streetaddress", 0},
    {"siteId", "site id", "site-id", 0},
    {"custId", "customer id", "customer-id", 0},
    {"contractId", "contract id", "contract-id", 0},
    {"priority", "switch priority", "switch-priority", 0},
};
const int callhome_info_table_size = CALLHOME_INFO_ROWS;
