// The numbers by which a command's syntax names its keywords, parameters and forms. Shells carry them in
// TokenRecord::keyword_id and CommandContext::command_id, so none of them may ever change.
#pragma once

#include <cstdint>

namespace callhome::library {

enum FeatureKeyword : std::uint32_t {
    keyword_enable = 1,
    keyword_disable = 2,
};

enum ContactKeyword : std::uint32_t {
    // Parameters.
    keyword_contact_text_1 = 4,
    keyword_contact_text_2 = 5,
    keyword_contact_text_3 = 6,
    keyword_switch_priority_value = 7,  // 32-bit integer
    keyword_contact_text_4 = 8,
    keyword_contact_text_5 = 9,
    keyword_contact_text_6 = 10,
    // Fields.
    keyword_site_id = 88,
    keyword_contract_id = 89,
    keyword_customer_id = 90,
    keyword_phone_contact = 91,
    keyword_email_contact = 92,
    keyword_street_address = 93,
    keyword_switch_priority = 94,
};

enum MailKeyword : std::uint32_t {
    // Parameters.
    keyword_from_address = 11,
    keyword_reply_to_address = 12,
    keyword_return_receipt_address = 13,
    keyword_mail_host = 14,  // address block or host name
    keyword_mail_port = 15,  // 32-bit integer
    keyword_vrf_name = 84,
    keyword_mail_priority = 97,  // 32-bit integer
    // Keywords whose address the "no" form clears.
    keyword_from = 85,
    keyword_reply_to = 86,
    keyword_smtp_server = 87,
};

enum ProfileKeyword : std::uint32_t {
    keyword_profile_email_address = 16,
    keyword_profile_address = 0x30710004,  // e-mail address or URL
    keyword_message_size = 17,             // 32-bit integer
    keyword_zuva_profile = 18,
    keyword_full_text_profile = 19,
    keyword_short_text_profile = 20,
    keyword_user_profile = 22,
    keyword_format_xml = 24,
    keyword_format_full_text = 25,
    keyword_format_short_text = 26,
    keyword_message_level = 35,  // 8-bit
    keyword_transport_email = 95,
    keyword_transport_http = 96,
};

// One for each alert group.
enum AlertGroupKeyword : std::uint32_t {
    keyword_group_system = 28,
    keyword_group_environmental = 29,
    keyword_group_linecard_hardware = 30,
    keyword_group_supervisor_hardware = 31,
    keyword_group_inventory = 32,
    keyword_group_test = 33,
    keyword_group_all = 34,
    keyword_group_obx = 36,
    keyword_group_zuva_tac = 37,
    keyword_group_license = 38,
    keyword_group_configuration = 39,
    keyword_group_syslog_group_port = 40,
    keyword_group_diagnostic = 63,
    keyword_group_life_cycle = 68,
    keyword_group_rmon = 82,
    keyword_group_pelago = 83,
    keyword_group_crash = 103,
};

enum UserCommandKeyword : std::uint32_t {
    keyword_user_command = 58,
};

enum HttpKeyword : std::uint32_t {
    keyword_http_vrf_name = 84,
    keyword_proxy_enable = 98,
    keyword_proxy_server = 99,  // text in every form
    keyword_proxy_port = 100,   // 32-bit integer
};

enum InventoryKeyword : std::uint32_t {
    keyword_inventory_notification = 44,
    keyword_inventory_period = 45,       // 32-bit integer
    keyword_inventory_time_of_day = 62,  // text
};

enum ThrottleKeyword : std::uint32_t {
    keyword_duplicate_throttle = 42,
};

enum PrivacyKeyword : std::uint32_t {
    keyword_privacy_normal = 111,
    keyword_privacy_high = 112,
};

enum SignatureKeyword : std::uint32_t {
    keyword_signature_profile = 103,
    keyword_variable_name = 104,
    keyword_variable_value = 105,
    keyword_signature_id = 107,  // 32-bit integer
    keyword_all_signatures = 108,
    keyword_signature_file = 109,
};

enum DistributionKeyword : std::uint32_t {
    keyword_distribute = 47,
    keyword_commit = 49,
    keyword_discard = 50,
    keyword_clear_session = 52,
};

enum ActionKeyword : std::uint32_t {
    keyword_obx_second_parameter = 65,
    keyword_obx_first_parameter = 66,
    keyword_swcrash_first_parameter = 69,
    keyword_swcrash_second_parameter = 70,
};

enum EventKeyword : std::uint32_t {
    keyword_event_type = 103,
    keyword_event_text = 104,
};

enum MemoryStatisticsKeyword : std::uint32_t {
    keyword_memory_detail = 57,
};

// Of the texts about diagnostic signatures. The order of the views is another one.
enum SignatureViewKeyword : std::uint32_t {
    keyword_view_description = 130,  // 32-bit integer: the signature
    keyword_view_xml = 131,
    keyword_view_events = 132,
    keyword_view_actions = 133,
    keyword_view_prompts = 134,
    keyword_view_state = 135,
    keyword_view_messages = 136,
};

enum SignatureStatisticsKeyword : std::uint32_t {
    keyword_statistics_failure = 137,
    keyword_statistics_run_time = 138,
    keyword_statistics_download = 139,
};

enum MessageStatisticsKeyword : std::uint32_t {
    keyword_counters_sent = 118,
    keyword_counters_failed = 119,
};

enum ServiceInfoKeyword : std::uint32_t {
    keyword_info_version = 120,
    keyword_info_state = 121,
    keyword_info_connections = 122,
    keyword_info_store = 123,
    keyword_info_memory = 124,
    keyword_info_configuration = 125,
    keyword_info_licences = 126,
    keyword_info_queue = 127,
};

// CommandContext::command_id of the form that only creates a destination profile.
inline constexpr std::uint32_t command_create_profile = 102;
// CommandContext::command_id of the form that shows the destination profile that it names.
inline constexpr std::uint32_t command_show_profile = 101;

}  // namespace callhome::library
