/* The installed headers compile as C, and lie in memory as shells compiled long ago expect them. */
#include <stddef.h>

#include "callhome/context.h"
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "platform/interface.h"

#define AT(type, field, offset) \
    _Static_assert(offsetof(struct type, field) == (offset), #field " has moved")

AT(TokenRecord, keyword_id, 0);
AT(TokenRecord, value_type, 4);
AT(TokenRecord, unused, 8);
AT(TokenRecord, value, 16);
AT(CommandContext, token_count, 0);
AT(CommandContext, config_depth, 1);
AT(CommandContext, no_form, 4);
AT(CommandContext, session_id, 8);
AT(CommandContext, mode_bypass, 12);
AT(CommandContext, skip_exec, 16);
AT(CommandContext, transport_handle, 20);
AT(CommandContext, command_id, 24);
AT(CommandContext, link_block_1, 28);
AT(CommandContext, link_block_2, 92);
#ifdef __i386__
AT(TokenRecord, value_kind, 20);
AT(CommandContext, tokens, 156);
AT(CommandContext, active_sup, 412);
_Static_assert(sizeof(struct TokenRecord) == 24, "size of TokenRecord");
_Static_assert(sizeof(struct CommandContext) == 416, "size of CommandContext");
#else
AT(TokenRecord, value_kind, 24);
AT(CommandContext, tokens, 160);
AT(CommandContext, active_sup, 672);
_Static_assert(sizeof(struct TokenRecord) == 32, "size of TokenRecord");
_Static_assert(sizeof(struct CommandContext) == 680, "size of CommandContext");
#endif
_Static_assert(sizeof(ServiceStatus) == 4, "size of ServiceStatus");
_Static_assert(sizeof(struct AlertResult) == 4 + 2048, "size of AlertResult");
