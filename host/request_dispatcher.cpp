#include "request_dispatcher.hpp"

#include <json/value.h>
#include <syslog.h>

#include <exception>

namespace {

// Bad parameter and internal step failed, as the module numbers them.
const int kBadParameterCode = 501;
const int kInternalErrorCode = 502;

CallResult Threw(int code, const std::string& what, const CallRequest& call) {
    syslog(LOG_ERR, "%s:%d %s %s threw: %s", __FILE_NAME__, __LINE__, call.api.c_str(),
           call.method.c_str(), what.c_str());
    Json::Value reply(Json::objectValue);
    reply["success"] = false;
    reply["error"]["code"] = code;
    reply["error"]["details"]["exception"] = what;
    return {kExitThrew, reply, what};
}

}  // namespace

CallResult RequestDispatcher::Call(const CallRequest& call) const {
    const QARN::WebAPIEntry* row = module_.Find(call.api, call.method, call.version);
    if (row == nullptr) {
        return {kExitUsage, Json::Value(),
                "no method " + call.api + " " + call.method + " version " +
                    std::to_string(call.version)};
    }
    QARN::APIRequest request(call.api, call.method, call.version, call.params, call.loginUser,
                             call.remoteIP);
    QARN::APIResponse response;
    try {
        row->entry(&request, &response);
    } catch (const Json::LogicError& error) {
        // A parameter of the wrong type or range.
        return Threw(kBadParameterCode, error.what(), call);
    } catch (const std::exception& error) {
        return Threw(kInternalErrorCode, error.what(), call);
    } catch (...) {
        return Threw(kInternalErrorCode, "unknown exception", call);
    }
    if (!response.IsAnswered()) return Threw(kInternalErrorCode, "no answer", call);
    return {response.IsSuccess() ? kExitSuccess : kExitErrorAnswer, response.ToJson(), ""};
}
