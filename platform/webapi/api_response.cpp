#include "api_response.hpp"

namespace QARN {

void APIResponse::SetError(int code, const Json::Value& data) {
    answered_ = true;
    success_ = false;
    errorCode_ = code;
    data_ = data;
}

void APIResponse::SetSuccess(const Json::Value& data) {
    answered_ = true;
    success_ = true;
    errorCode_ = 0;
    data_ = data;
}

Json::Value APIResponse::ToJson() const {
    Json::Value reply(Json::objectValue);
    reply["success"] = success_;
    if (success_) {
        reply["data"] = data_;
    } else {
        reply["error"]["code"] = errorCode_;
        reply["error"]["details"] = data_;
    }
    return reply;
}

}  // namespace QARN
