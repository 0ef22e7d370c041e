// A client of dscheck serve on the sandbox's loopback: one keep-alive connection, requests
// written and replies read whole (an event stream until the server ends it).
#pragma once

#include <json/value.h>

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <map>
#include <string>

using WebFields = std::map<std::string, std::string>;

struct WebReply {
    int status = 0;
    WebFields fields;
    std::string body;
    Json::Value Json() const;
};

class WebClient {
  public:
    static constexpr unsigned short kPort = 8470;

    WebClient();

    WebReply Send(boost::beast::http::verb verb, const std::string& target,
                  const std::string& body = "", const WebFields& fields = {});
    // A POST announcing a body of length that is never sent.
    WebReply Announce(size_t length);

  private:
    WebReply Read();

    boost::asio::io_context io_;
    boost::beast::tcp_stream stream_{io_};
    boost::beast::flat_buffer buffer_;
};
