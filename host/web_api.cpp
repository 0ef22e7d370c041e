#include "web_api.hpp"

#include <json/reader.h>
#include <syslog.h>

#include <memory>

#include "report_formatter.hpp"
#include "run_history.hpp"

namespace {

const size_t kNameLimit = 256;
const size_t kPasswordLimit = 4096;

HttpReply JsonReply(int status, const Json::Value& body) {
    HttpReply reply;
    reply.status = status;
    reply.body = ReportFormatter::CompactText(body);
    return reply;
}

HttpReply ErrorReply(int status, const std::string& text) {
    Json::Value body(Json::objectValue);
    body["error"] = text;
    return JsonReply(status, body);
}

// A JSON object, strictly; false for anything else, however deep or malformed.
bool ParseObject(const std::string& text, Json::Value& value) {
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    builder["stackLimit"] = 64;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        return reader->parse(text.data(), text.data() + text.size(), &value, &errors) &&
               value.isObject();
    } catch (const std::exception&) {
        return false;
    }
}

std::string CookieValue(const std::string& header, const std::string& name) {
    size_t start = 0;
    while (start < header.size()) {
        size_t end = std::min(header.find(';', start), header.size());
        size_t first = header.find_first_not_of(' ', start);
        if (first < end && header.compare(first, name.size() + 1, name + "=") == 0) {
            return header.substr(first + name.size() + 1, end - first - name.size() - 1);
        }
        start = end + 1;
    }
    return "";
}

std::string SessionCookie(const std::string& token, long maxAge, bool secure) {
    return std::string(WebApi::kCookieName) + "=" + token +
           "; HttpOnly; SameSite=Strict; Path=/; Max-Age=" + std::to_string(maxAge) +
           (secure ? "; Secure" : "");
}

// The Origin's host and port against the Host header: the page's own origin only.
bool SameOrigin(const std::string& origin, const std::string& host) {
    size_t scheme = origin.find("://");
    return scheme != std::string::npos && !host.empty() && origin.substr(scheme + 3) == host;
}

std::string Decode(const std::string& text) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() &&
            isxdigit(static_cast<unsigned char>(text[i + 1])) &&
            isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            decoded += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            decoded += text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

std::string QueryValue(const std::string& query, const std::string& name) {
    size_t start = 0;
    while (start < query.size()) {
        size_t end = std::min(query.find('&', start), query.size());
        if (query.compare(start, name.size() + 1, name + "=") == 0) {
            return Decode(query.substr(start + name.size() + 1, end - start - name.size() - 1));
        }
        start = end + 1;
    }
    return "";
}

bool IsStateChanging(const std::string& method) {
    return method != "GET" && method != "HEAD";
}

HttpReply NoContent() {
    HttpReply reply;
    reply.status = 204;
    reply.contentType.clear();
    return reply;
}

}  // namespace

HttpReply WebApi::Handle(const HttpRequest& request) {
    std::string path = request.target.substr(0, request.target.find('?'));
    if (path == "/api" || path.compare(0, 5, "/api/") == 0) {
        HttpReply reply = HandleApi(request, path);
        reply.fields.emplace_back("Cache-Control", "no-store");
        return reply;
    }
    if (request.method != "GET" && request.method != "HEAD") {
        return ErrorReply(405, "only GET for files");
    }
    return files_.Serve(path);
}

HttpReply WebApi::HandleApi(const HttpRequest& request, const std::string& path) {
    if (path == "/api/login" && request.method == "POST") return Login(request);
    if (path == "/api/session" && request.method == "GET") return SessionInfo(request);
    WebSession session;
    if (!FindSession(request, session)) return ErrorReply(401, "not logged in");
    HttpReply refusal = CheckCsrf(request, &session);
    if (refusal.status != 0) return refusal;
    if (path == "/api/logout" && request.method == "POST") return Logout(request);
    return Route(request, path, session);
}

HttpReply WebApi::Route(const HttpRequest& request, const std::string& path,
                        const WebSession& session) {
    CallRequest caller;
    caller.loginUser = session.user;
    caller.remoteIP = request.peerAddress;
    std::string query = request.target.substr(std::min(request.target.size(), path.size() + 1));
    bool post = request.method == "POST";
    Json::Value body(Json::objectValue);
    if (post && !request.body.empty() && !ParseObject(request.body, body)) {
        return ErrorReply(400, "the body is not a JSON object");
    }
    if (path == "/api/call" && post) return Call(body, caller);
    if (path == "/api/recheck" && post) return Recheck(body, caller);
    if (path == "/api/runs" && post) return StartRun(body, caller);
    if (request.method != "GET" && !post) return ErrorReply(405, "method not allowed");
    if (path == "/api/test-types" && !post) return JsonReply(200, runs_.TestTypes(caller));
    if (path == "/api/runs" && !post) return JsonReply(200, runs_.Runs());
    if (path == "/api/diff" && !post) return Diff(query);
    if (path.compare(0, 10, "/api/runs/") == 0) return RunRoute(request, path.substr(10));
    return ErrorReply(404, "no such API path: " + path);
}

bool WebApi::FindSession(const HttpRequest& request, WebSession& session) {
    std::string token = CookieValue(request.Field("cookie"), kCookieName);
    return !token.empty() && sessions_.Find(token, session);
}

HttpReply WebApi::CheckCsrf(const HttpRequest& request, const WebSession* session) const {
    HttpReply pass;
    pass.status = 0;
    if (!IsStateChanging(request.method)) return pass;
    std::string origin = request.Field("origin");
    if (!origin.empty() && !SameOrigin(origin, request.Field("host"))) {
        return ErrorReply(403, "cross-origin request refused");
    }
    if (session != nullptr && !SecretsEqual(request.Field("x-csrf-token"), session->csrf)) {
        return ErrorReply(403, "missing or wrong X-CSRF-Token");
    }
    return pass;
}

HttpReply WebApi::Login(const HttpRequest& request) {
    HttpReply refusal = CheckCsrf(request, nullptr);
    if (refusal.status != 0) return refusal;
    long wait = limiter_.WaitSeconds(request.peerAddress);
    if (wait > 0) {
        HttpReply reply = ErrorReply(429, "too many failed logins; try again later");
        reply.fields.emplace_back("Retry-After", std::to_string(wait));
        return reply;
    }
    Json::Value body;
    if (!ParseObject(request.body, body) || !body["user"].isString() ||
        !body["password"].isString() || body["user"].asString().empty() ||
        body["user"].asString().size() > kNameLimit ||
        body["password"].asString().size() > kPasswordLimit) {
        return ErrorReply(400, "login takes {\"user\", \"password\"}");
    }
    std::string user = body["user"].asString();
    PamAuthenticator::Verdict verdict = pam_.Check(user, body["password"].asString());
    if (verdict != PamAuthenticator::Verdict::kAccepted) {
        limiter_.RecordFailure(request.peerAddress);
        bool bad = verdict == PamAuthenticator::Verdict::kBadCredentials;
        syslog(LOG_WARNING, "%s:%d login of %s from %s refused: %s", __FILE_NAME__, __LINE__,
               user.c_str(), request.peerAddress.c_str(),
               bad ? "bad credentials" : "not an administrator");
        return bad ? ErrorReply(401, "wrong user name or password")
                   : ErrorReply(403, "not an administrator");
    }
    WebSession session = sessions_.Create(user);
    syslog(LOG_INFO, "%s:%d %s logged in from %s", __FILE_NAME__, __LINE__, user.c_str(),
           request.peerAddress.c_str());
    Json::Value answer(Json::objectValue);
    answer["user"] = user;
    answer["csrf"] = session.csrf;
    HttpReply reply = JsonReply(200, answer);
    long maxAge = std::chrono::seconds(SessionStore::kAbsoluteLimit).count();
    reply.fields.emplace_back("Set-Cookie", SessionCookie(session.token, maxAge, request.secure));
    return reply;
}

HttpReply WebApi::SessionInfo(const HttpRequest& request) {
    WebSession session;
    if (!FindSession(request, session)) return ErrorReply(401, "not logged in");
    Json::Value answer(Json::objectValue);
    answer["user"] = session.user;
    answer["csrf"] = session.csrf;
    return JsonReply(200, answer);
}

HttpReply WebApi::Logout(const HttpRequest& request) {
    sessions_.Remove(CookieValue(request.Field("cookie"), kCookieName));
    HttpReply reply = NoContent();
    reply.fields.emplace_back("Set-Cookie", SessionCookie("", 0, request.secure));
    return reply;
}

HttpReply WebApi::Call(const Json::Value& body, const CallRequest& caller) {
    const Json::Value& version = body.get("version", 1);
    if (!body["api"].isString() || !body["method"].isString() || !version.isIntegral() ||
        !version.isConvertibleTo(Json::intValue) || version.asInt() < 1 ||
        !body.get("params", Json::Value(Json::objectValue)).isObject()) {
        return ErrorReply(400, "call takes {\"api\", \"method\", \"version\", \"params\": {}}");
    }
    CallRequest call = caller;
    call.api = body["api"].asString();
    call.method = body["method"].asString();
    call.version = version.asInt();
    call.params = body.get("params", Json::Value(Json::objectValue));
    CallResult result = dispatcher_.Call(call);
    if (result.reply.isNull()) return ErrorReply(404, result.message);
    return JsonReply(result.status == kExitThrew ? 502 : 200, result.reply);
}

HttpReply WebApi::StartRun(const Json::Value& body, const CallRequest& caller) {
    const Json::Value& inputs = body.get("inputs", Json::Value(Json::objectValue));
    if (!body["type"].isString() || !inputs.isObject()) {
        return ErrorReply(400, "runs takes {\"type\", \"inputs\": {}}");
    }
    Json::Value result;
    switch (runs_.StartRun(body["type"].asString(), inputs, caller, result)) {
        case RunManager::Start::kStarted:
            return JsonReply(202, result);
        case RunManager::Start::kBadRequest:
            return JsonReply(400, result);
        default:
            return JsonReply(409, result);
    }
}

HttpReply WebApi::RunRoute(const HttpRequest& request, const std::string& rest) {
    size_t slash = rest.find('/');
    std::string id = rest.substr(0, slash);
    std::string action = slash == std::string::npos ? "" : rest.substr(slash + 1);
    bool post = request.method == "POST";
    if (action == "cancel" && post) {
        return runs_.Cancel(id) ? JsonReply(202, Json::Value(Json::objectValue))
                                : ErrorReply(404, "no active run " + id);
    }
    if (post) return ErrorReply(405, "method not allowed");
    if (action == "events") {
        HttpReply reply;
        reply.events = runs_.Events(id);
        if (!reply.events) return ErrorReply(404, "no run " + id);
        reply.contentType = "text/event-stream";
        return reply;
    }
    if (!action.empty()) return ErrorReply(404, "no such API path");
    Json::Value report;
    std::string error;
    if (!runs_.Report(id, report, error)) return ErrorReply(404, error);
    return JsonReply(200, report);
}

HttpReply WebApi::Diff(const std::string& query) {
    Json::Value before, after;
    std::string error;
    if (!runs_.Report(QueryValue(query, "a"), before, error) ||
        !runs_.Report(QueryValue(query, "b"), after, error)) {
        return ErrorReply(404, error);
    }
    return JsonReply(200, RunHistory::Diff(before, after));
}

HttpReply WebApi::Recheck(const Json::Value& body, const CallRequest& caller) {
    if (!body["run"].isString() || !body["check"].isString()) {
        return ErrorReply(400, "recheck takes {\"run\", \"check\", \"secrets\": {}}");
    }
    Json::Value entry;
    std::string error;
    if (!runs_.Recheck(body["run"].asString(), body["check"].asString(), body["secrets"], caller,
                       entry, error)) {
        return ErrorReply(404, error);
    }
    return JsonReply(200, entry);
}
