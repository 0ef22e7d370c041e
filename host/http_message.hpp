// A request as the web-API sees it and the reply it gives, free of the HTTP library.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class RunEvents;

struct HttpRequest {
    std::string method;                         // "GET", "POST", ...
    std::string target;                         // path and query
    std::map<std::string, std::string> fields;  // header fields, names in lower case
    std::string body;
    std::string peerAddress;
    bool secure = false;  // arrived over TLS

    std::string Field(const std::string& lowerName) const {
        auto field = fields.find(lowerName);
        return field == fields.end() ? "" : field->second;
    }
};

struct HttpReply {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> fields;
    // Set for an event stream: the body is empty and the events follow.
    std::shared_ptr<RunEvents> events;
};
