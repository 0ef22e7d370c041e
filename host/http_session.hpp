// One client connection, plain or TLS: reads requests within the limits, hands each to the
// web-API on a worker thread, writes the reply or follows a run's event stream. A bad request
// gets its error and the connection closes; nothing of it reaches another connection.
#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "http_message.hpp"
#include "web_api.hpp"

struct HttpLimits {
    size_t bodyBytes = 64 * 1024;
    size_t headerBytes = 8 * 1024;
    size_t headerFields = 100;
    std::chrono::seconds requestTime{30};  // to read a request, also when idle between them
    std::chrono::seconds keepAliveComment{15};
};

using PlainStream = boost::beast::tcp_stream;
using TlsStream = boost::beast::ssl_stream<boost::beast::tcp_stream>;

template <class Stream>
class HttpSession : public std::enable_shared_from_this<HttpSession<Stream>> {
  public:
    HttpSession(Stream&& stream, WebApi& api, boost::asio::thread_pool& workers,
                const HttpLimits& limits);

    void Start();

  private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    using EventsHeader = boost::beast::http::response<boost::beast::http::empty_body>;
    using EventsSerializer =
        boost::beast::http::response_serializer<boost::beast::http::empty_body>;

    void ReadHeader();
    void OnHeader(boost::beast::error_code error);
    void OnBody(boost::beast::error_code error);
    // Answers a request that cannot be read on, and closes.
    void Refuse(boost::beast::error_code error);
    void Dispatch();
    void Send(HttpReply reply);
    void OnSent(boost::beast::error_code error);
    void StartEvents(HttpReply reply);
    void PumpEvents();
    void WriteEventText(std::string text, bool last);
    void ArmKeepAlive();
    void Close();

    Stream stream_;
    WebApi& api_;
    boost::asio::thread_pool& workers_;
    HttpLimits limits_;
    boost::beast::flat_buffer buffer_;
    std::optional<Parser> parser_;
    bool keepAlive_ = false;
    std::shared_ptr<void> response_;  // the reply being written
    // Event stream.
    std::shared_ptr<RunEvents> events_;
    std::optional<EventsHeader> eventsHeader_;
    std::optional<EventsSerializer> eventsSerializer_;
    size_t eventIndex_ = 0;
    std::string outgoing_;
    bool writing_ = false;
    bool pumpPending_ = false;
    bool closed_ = false;
    boost::asio::steady_timer keepAliveTimer_;
};
