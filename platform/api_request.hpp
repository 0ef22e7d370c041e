// A web-API request as the host hands it to a module's entry function.
#pragma once

#include <json/value.h>

#include <string>

namespace QARN {

class APIRequest {
public:
    APIRequest(std::string api, std::string method, int version, Json::Value params,
               std::string loginUser, std::string remoteIP);

    // The named parameter, or fallback when the request lacks it.
    Json::Value GetParam(const std::string& name, const Json::Value& fallback) const;
    const Json::Value& GetParamRef(const std::string& name, const Json::Value& fallback) const;
    bool HasParam(const std::string& name) const;

    const std::string& GetAPIName() const { return api_; }
    const std::string& GetMethodName() const { return method_; }
    int GetAPIVersion() const { return version_; }
    std::string GetLoginUserName() const { return loginUser_; }
    std::string GetRemoteIP() const { return remoteIP_; }

private:
    std::string api_;
    std::string method_;
    int version_;
    Json::Value params_;  // always an object
    std::string loginUser_;
    std::string remoteIP_;
};

}  // namespace QARN
