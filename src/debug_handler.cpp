#include "debug_handler.hpp"

#include <errno.h>
#include <time.h>

namespace {

// Sleeps the whole time even when signals interrupt the sleep.
void SleepSeconds(int seconds) {
    timespec remaining{seconds, 0};
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}

bool IsPassed(const Json::Value& data) {
    return data.isObject() && data.isMember("pass_test") && data["pass_test"].isBool() &&
           data["pass_test"].asBool();
}

}  // namespace

void DebugHandler::GenerateIssue() {
    int level = m_request->GetParam("level", 0).asInt();
    int errCode = m_request->GetParam("errCode", 0).asInt();
    bool isPlural = m_request->GetParam("isPlural", false).asBool();
    int delay = m_request->GetParam("delay", 0).asInt();
    Json::Value data = m_request->GetParam("data", Json::Value());

    if (delay > 0) SleepSeconds(delay);
    if (IsPassed(data)) {
        SetSuccess(Json::Value());
        return;
    }
    data["pass_test"] = true;
    m_data["isPlural"] = isPlural;
    m_data["info"] = data;
    SetError(level == 0 ? kError : kWarning, static_cast<ErrorCode>(errCode));
}
