// The web-API's routes: login, session and logout; module calls; runs, their events, history,
// diff and recheck; static files for everything outside /api. Checks the session cookie, the
// CSRF token and the Origin of state-changing requests. Called on worker threads.
#pragma once

#include <json/value.h>

#include <string>

#include "http_message.hpp"
#include "login_limiter.hpp"
#include "pam_authenticator.hpp"
#include "request_dispatcher.hpp"
#include "run_manager.hpp"
#include "session_store.hpp"
#include "static_files.hpp"

class WebApi {
  public:
    static constexpr char kCookieName[] = "dscheck_session";

    WebApi(const RequestDispatcher& dispatcher, RunManager& runs, const std::string& wwwDirectory,
           const std::string& adminGroup)
        : dispatcher_(dispatcher), runs_(runs), files_(wwwDirectory), pam_(adminGroup) {}

    HttpReply Handle(const HttpRequest& request);

  private:
    HttpReply HandleApi(const HttpRequest& request, const std::string& path);
    HttpReply Route(const HttpRequest& request, const std::string& path, const WebSession& session);
    HttpReply Login(const HttpRequest& request);
    HttpReply SessionInfo(const HttpRequest& request);
    HttpReply Logout(const HttpRequest& request);
    HttpReply Call(const Json::Value& body, const CallRequest& caller);
    HttpReply StartRun(const Json::Value& body, const CallRequest& caller);
    HttpReply RunRoute(const HttpRequest& request, const std::string& rest);
    HttpReply Diff(const std::string& query);
    HttpReply Recheck(const Json::Value& body, const CallRequest& caller);
    // A refusal when request may not change state for session: 403, else status 0.
    HttpReply CheckCsrf(const HttpRequest& request, const WebSession* session) const;
    bool FindSession(const HttpRequest& request, WebSession& session);

    const RequestDispatcher& dispatcher_;
    RunManager& runs_;
    StaticFiles files_;
    PamAuthenticator pam_;
    SessionStore sessions_;
    LoginLimiter limiter_;
};
