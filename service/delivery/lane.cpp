#include "delivery/lane.h"

#include "delivery/http_way.h"

namespace callhome::service {

std::string lane_of(Carrier carrier, const std::string& receiver) {
    return carrier == Carrier::http ? authority_of_url(receiver) : "";
}

}  // namespace callhome::service
