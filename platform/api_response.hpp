// The answer a module's entry function gives to one web-API request.
#pragma once

#include <json/value.h>

namespace QARN {

class APIResponse {
public:
    void SetError(int code, const Json::Value& data);
    void SetSuccess(const Json::Value& data);

    bool IsAnswered() const { return answered_; }
    bool IsSuccess() const { return success_; }
    int GetErrorCode() const { return errorCode_; }
    const Json::Value& GetData() const { return data_; }
    // {"success": true, "data": D} or {"success": false, "error": {"code": N, "details": D}}.
    Json::Value ToJson() const;

private:
    bool answered_ = false;
    bool success_ = false;
    int errorCode_ = 0;
    Json::Value data_;
};

}  // namespace QARN
