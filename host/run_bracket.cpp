#include "run_bracket.hpp"

#include "diagnosis_api.hpp"

RunBracket::RunBracket(const RequestDispatcher& dispatcher, const CallRequest& caller,
                       std::chrono::milliseconds heartbeat)
    : dispatcher_(dispatcher), caller_(caller), heartbeat_(heartbeat) {}

RunBracket::~RunBracket() {
    Close();
}

Json::Value RunBracket::Call(const char* api, const char* method, Json::Value params) const {
    CallRequest request = caller_;
    request.api = api;
    request.method = method;
    request.version = 1;
    request.params = std::move(params);
    return dispatcher_.Call(request).reply;
}

RunBracket::Opening RunBracket::Open(const std::string& serverType, Json::Value& refusal) {
    Json::Value params(Json::objectValue);
    params["server_type"] = serverType;
    Json::Value reply = Call(kProgressAPI, "start_progress", params);
    if (!reply["success"].asBool()) {
        refusal = reply;
        return reply["error"]["code"] == kJoinedOrBoundCode ? Opening::kWithoutBracket
                                                            : Opening::kRefused;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    initTime_ = reply["data"]["init_time"];
    open_ = true;
    beater_ = std::thread(&RunBracket::Beat, this);
    return Opening::kOpened;
}

void RunBracket::Update(const std::string& category) {
    std::lock_guard<std::mutex> lock(mutex_);
    category_ = category;
    if (!open_) return;
    Json::Value params(Json::objectValue);
    params["init_time"] = initTime_;
    params["category"] = category_;
    Call(kProgressAPI, "update_progress", params);
}

void RunBracket::Beat() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_for(lock, heartbeat_, [this] { return !open_; })) {
        Json::Value params(Json::objectValue);
        params["init_time"] = initTime_;
        if (!category_.empty()) params["category"] = category_;
        Call(kProgressAPI, "update_progress", params);
    }
}

void RunBracket::Close() {
    std::thread beater;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (open_) {
            Json::Value params(Json::objectValue);
            params["init_time"] = initTime_;
            Call(kProgressAPI, "end_progress", params);
            open_ = false;
        }
        beater.swap(beater_);
    }
    wake_.notify_all();
    if (beater.joinable() && beater.get_id() != std::this_thread::get_id()) beater.join();
}

bool RunBracket::IsOpen() {
    std::lock_guard<std::mutex> lock(mutex_);
    return open_;
}
