#include "store/statements.h"

#include <utility>

namespace callhome::service {

Statements::Use::~Use() {
    statement_->tryReset();
    try {
        statement_->clearBindings();
        idle_.push_back(std::move(statement_));
    } catch (const std::exception&) {
        statement_.reset();  // prepared again when it is next asked for
    }
}

Statements::Use Statements::use(std::string_view sql) {
    auto known = idle_.find(sql);
    if (known == idle_.end()) {
        known = idle_.emplace(sql, Idle{}).first;
    }
    Idle& idle = known->second;
    if (idle.empty()) {
        return {idle, std::make_unique<SQLite::Statement>(connection_, known->first)};
    }
    Statement statement = std::move(idle.back());
    idle.pop_back();
    return {idle, std::move(statement)};
}

}  // namespace callhome::service
