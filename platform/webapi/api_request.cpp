#include "api_request.hpp"

#include <utility>

namespace QARN {

APIRequest::APIRequest(std::string api, std::string method, int version, Json::Value params,
                       std::string loginUser, std::string remoteIP)
    : api_(std::move(api)),
      method_(std::move(method)),
      version_(version),
      params_(params.isObject() ? std::move(params) : Json::Value(Json::objectValue)),
      loginUser_(std::move(loginUser)),
      remoteIP_(std::move(remoteIP)) {}

Json::Value APIRequest::GetParam(const std::string& name, const Json::Value& fallback) const {
    return GetParamRef(name, fallback);
}

const Json::Value& APIRequest::GetParamRef(const std::string& name,
                                           const Json::Value& fallback) const {
    const Json::Value* found = params_.find(name.data(), name.data() + name.size());
    return found ? *found : fallback;
}

bool APIRequest::HasParam(const std::string& name) const {
    return params_.find(name.data(), name.data() + name.size()) != nullptr;
}

}  // namespace QARN
