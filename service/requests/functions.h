// The request functions, a family a file. Each has a row in the table of dispatch.cpp. Those that change
// something answer malformed_request for what no switch can be configured with; a change that cannot
// be stored leaves them as SQLite::Exception.
#pragma once

#include "protocol/records/alert_group.h"
#include "protocol/records/contact.h"
#include "protocol/records/delivery.h"
#include "protocol/records/destination_profile.h"
#include "protocol/records/distribution.h"
#include "protocol/records/feature.h"
#include "protocol/records/http.h"
#include "protocol/records/inventory.h"
#include "protocol/records/mail.h"
#include "protocol/records/message.h"
#include "protocol/records/privacy.h"
#include "protocol/records/signature.h"
#include "protocol/records/trace.h"
#include "requests/call.h"

namespace callhome::service {

// Why nothing is sent while the feature is off.
inline constexpr std::string_view disabled_text =
    "call home is disabled; enter 'enable' in the call-home mode first";

// feature.cpp
Outcome get_feature(Call& call, const protocol::SwitchRecord& record);
Outcome set_feature(Call& call, const protocol::SwitchRecord& record);
Outcome get_traps(Call& call, const protocol::SwitchRecord& record);
Outcome set_traps(Call& call, const protocol::SwitchRecord& record);
Outcome get_duplicate_throttle(Call& call, const protocol::SwitchRecord& record);
Outcome set_duplicate_throttle(Call& call, const protocol::SwitchRecord& record);

// contact.cpp
Outcome get_contact(Call& call, const protocol::ContactRecord& record);
Outcome set_contact(Call& call, const protocol::ContactRecord& record);
Outcome remove_contact(Call& call, const protocol::ContactRecord& record);

// destination_profile.cpp
Outcome get_profile(Call& call, const protocol::ProfileRecord& record);
Outcome get_next_profile(Call& call, const protocol::ProfileRecord& record);
Outcome set_profile(Call& call, const protocol::ProfileRecord& record);
Outcome remove_profile(Call& call, const protocol::ProfileRecord& record);
template <AddressKind kind>
Outcome get_next_address(Call& call, const protocol::AddressRecord& record);
template <AddressKind kind>
Outcome add_address(Call& call, const protocol::AddressRecord& record);
template <AddressKind kind>
Outcome remove_address(Call& call, const protocol::AddressRecord& record);

// mail.cpp
Outcome get_mail_settings(Call& call, const protocol::MailSettingsRecord& record);
Outcome set_mail_settings(Call& call, const protocol::MailSettingsRecord& record);
Outcome clear_mail_settings(Call& call, const protocol::MailSettingsRecord& record);
Outcome get_mail_server(Call& call, const protocol::MailServerRecord& record);
Outcome get_next_mail_server(Call& call, const protocol::MailServerRecord& record);
Outcome set_mail_server(Call& call, const protocol::MailServerRecord& record);
Outcome remove_mail_server(Call& call, const protocol::MailServerRecord& record);

// alert_group.cpp
Outcome get_next_subscription(Call& call, const protocol::SubscriptionRecord& record);
Outcome add_subscription(Call& call, const protocol::SubscriptionRecord& record);
Outcome remove_subscription(Call& call, const protocol::SubscriptionRecord& record);
Outcome get_next_user_command(Call& call, const protocol::UserCommandRecord& record);
Outcome add_user_command(Call& call, const protocol::UserCommandRecord& record);
Outcome remove_user_command(Call& call, const protocol::UserCommandRecord& record);

// http.cpp
Outcome get_http_proxy(Call& call, const protocol::HttpProxyRecord& record);
Outcome set_http_proxy(Call& call, const protocol::HttpProxyRecord& record);
Outcome remove_http_proxy(Call& call, const protocol::HttpProxyRecord& record);
Outcome get_http_vrf(Call& call, const protocol::HttpVrfRecord& record);
Outcome set_http_vrf(Call& call, const protocol::HttpVrfRecord& record);
Outcome remove_http_vrf(Call& call, const protocol::HttpVrfRecord& record);

// periodic_inventory.cpp
Outcome get_periodic_inventory(Call& call, const protocol::PeriodicInventoryRecord& record);
Outcome set_periodic_inventory(Call& call, const protocol::PeriodicInventoryRecord& record);

// privacy.cpp
Outcome get_privacy(Call& call, const protocol::PrivacyRecord& record);
Outcome set_privacy(Call& call, const protocol::PrivacyRecord& record);

// distribution.cpp
Outcome get_distribution(Call& call, const protocol::DistributionRecord& record);
Outcome set_distribution(Call& call, const protocol::DistributionRecord& record);
Outcome get_commit_result(Call& call, const protocol::CommitRecord& record);
Outcome end_session(Call& call, const protocol::CommitRecord& record);
Outcome clear_session(Call& call, const protocol::ClearSessionRecord& record);
Outcome get_session_state(Call& call, const protocol::SessionRecord& record);

// signatures.cpp
Outcome act_on_signatures(Call& call, const protocol::DsActionRecord& record);
Outcome set_signatures_active(Call& call, const protocol::DsActiveRecord& record);
Outcome set_signature_profile(Call& call, const protocol::DsProfileRecord& record);
Outcome remove_signature_profile(Call& call, const protocol::DsProfileRecord& record);
Outcome set_signature_variable(Call& call, const protocol::DsEnvironmentRecord& record);
Outcome remove_signature_variable(Call& call, const protocol::DsEnvironmentRecord& record);
Outcome clear_signature_statistics(Call& call, const protocol::DsStatsClearRecord& record);
Outcome get_signature_view(Call& call, const protocol::DsShowRequest& record);

// service_info.cpp
Outcome get_service_info(Call& call, const protocol::ServiceInfoRequest& record);
Outcome clear_message_statistics(Call& call, const protocol::MsgStatsClearRecord& record);

// software.cpp
Outcome get_next_software(Call& call, const protocol::SoftwareRecord& record);

// messages.cpp
Outcome send_message(Call& call, const protocol::SendMessageRecord& record);
Outcome post_alert(Call& call, const protocol::AlertRecord& record);
Outcome get_next_message(Call& call, const protocol::MessageLogRecord& record);
Outcome get_next_delivery(Call& call, const protocol::DeliveryLogRecord& record);
Outcome get_message_text(Call& call, const protocol::MessageKeyRecord& record);

// queue.cpp
Outcome get_queue_state(Call& call, const protocol::QueueStateRecord& record);
Outcome get_profile_statistics(Call& call, const protocol::ProfileStatisticsRecord& record);
Outcome clear_queue(Call& call, const protocol::ClearQueueRecord& record);
Outcome resend_message(Call& call, const protocol::ResendRecord& record);
Outcome get_message_tail(Call& call, const protocol::MessageTailRecord& record);
Outcome preview_message(Call& call, const protocol::PreviewRequestRecord& record);

// support.cpp
Outcome get_trace_buffer(Call& call, const protocol::TraceKeyRecord& record);
Outcome get_memory_statistics(Call& call, const protocol::MemoryStatisticsRequest& record);

}  // namespace callhome::service
