#include "http_session.hpp"

#include <syslog.h>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

namespace beast = boost::beast;
namespace http = beast::http;
namespace asio = boost::asio;

namespace {

const char kKeepAliveComment[] = ": keep-alive\n\n";

constexpr bool IsTls(const PlainStream*) {
    return false;
}
constexpr bool IsTls(const TlsStream*) {
    return true;
}

template <class Message>
void AddSecurityFields(Message& message) {
    message.set("Content-Security-Policy", "default-src 'self'");
    message.set("X-Content-Type-Options", "nosniff");
    message.set("X-Frame-Options", "DENY");
    message.set("Referrer-Policy", "no-referrer");
}

template <class Message>
void AddReplyFields(Message& message, const HttpReply& reply) {
    if (!reply.contentType.empty()) message.set(http::field::content_type, reply.contentType);
    for (const auto& field : reply.fields) message.insert(field.first, field.second);
    AddSecurityFields(message);
}

HttpReply ErrorReply(int status, const char* text) {
    HttpReply reply;
    reply.status = status;
    reply.body = std::string("{\"error\":\"") + text + "\"}";
    return reply;
}

}  // namespace

template <class Stream>
HttpSession<Stream>::HttpSession(Stream&& stream, WebApi& api, asio::thread_pool& workers,
                                 const HttpLimits& limits)
    : stream_(std::move(stream)),
      api_(api),
      workers_(workers),
      limits_(limits),
      keepAliveTimer_(stream_.get_executor()) {}

template <class Stream>
void HttpSession<Stream>::Start() {
    if constexpr (IsTls(static_cast<Stream*>(nullptr))) {
        beast::get_lowest_layer(stream_).expires_after(limits_.requestTime);
        stream_.async_handshake(asio::ssl::stream_base::server,
                                [self = this->shared_from_this()](beast::error_code error) {
                                    if (error) return self->Close();
                                    self->ReadHeader();
                                });
    } else {
        ReadHeader();
    }
}

template <class Stream>
void HttpSession<Stream>::ReadHeader() {
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(limits_.headerBytes));
    parser_->body_limit(limits_.bodyBytes);
    beast::get_lowest_layer(stream_).expires_after(limits_.requestTime);
    http::async_read_header(stream_, buffer_, *parser_,
                            [self = this->shared_from_this()](beast::error_code error, size_t) {
                                self->OnHeader(error);
                            });
}

template <class Stream>
void HttpSession<Stream>::OnHeader(beast::error_code error) {
    if (error) return Refuse(error);
    const auto& header = parser_->get();
    if (static_cast<size_t>(std::distance(header.begin(), header.end())) > limits_.headerFields) {
        return Refuse(http::error::header_limit);
    }
    http::async_read(stream_, buffer_, *parser_,
                     [self = this->shared_from_this()](beast::error_code error, size_t) {
                         self->OnBody(error);
                     });
}

template <class Stream>
void HttpSession<Stream>::OnBody(beast::error_code error) {
    if (error) return Refuse(error);
    Dispatch();
}

template <class Stream>
void HttpSession<Stream>::Refuse(beast::error_code error) {
    keepAlive_ = false;
    if (error == http::error::header_limit) return Send(ErrorReply(431, "header too large"));
    if (error == http::error::body_limit) return Send(ErrorReply(413, "body too large"));
    if (error.category() == beast::error_code(http::error::bad_target).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message) {
        return Send(ErrorReply(400, "malformed request"));
    }
    Close();
}

template <class Stream>
void HttpSession<Stream>::Dispatch() {
    auto message = parser_->release();
    keepAlive_ = message.keep_alive();
    HttpRequest request;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    for (const auto& field : message) {
        std::string name(field.name_string());
        for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        request.fields[name] = std::string(field.value());
    }
    request.body = std::move(message.body());
    beast::error_code ignored;
    auto peer = beast::get_lowest_layer(stream_).socket().remote_endpoint(ignored);
    request.peerAddress = peer.address().to_string();
    request.secure = IsTls(static_cast<Stream*>(nullptr));
    beast::get_lowest_layer(stream_).expires_never();
    asio::post(workers_, [self = this->shared_from_this(), request = std::move(request)] {
        HttpReply reply;
        try {
            reply = self->api_.Handle(request);
        } catch (const std::exception& failure) {
            syslog(LOG_ERR, "%s:%d %s %s failed: %s", __FILE_NAME__, __LINE__,
                   request.method.c_str(), request.target.c_str(), failure.what());
            reply = ErrorReply(500, "internal error");
        }
        asio::post(self->stream_.get_executor(),
                   [self, reply = std::move(reply)]() mutable { self->Send(std::move(reply)); });
    });
}

template <class Stream>
void HttpSession<Stream>::Send(HttpReply reply) {
    if (reply.events) return StartEvents(std::move(reply));
    auto response = std::make_shared<http::response<http::string_body>>(
        static_cast<http::status>(reply.status), 11);
    AddReplyFields(*response, reply);
    response->keep_alive(keepAlive_);
    response->body() = std::move(reply.body);
    response->prepare_payload();
    response_ = response;
    beast::get_lowest_layer(stream_).expires_after(limits_.requestTime);
    http::async_write(stream_, *response,
                      [self = this->shared_from_this()](beast::error_code error, size_t) {
                          self->OnSent(error);
                      });
}

template <class Stream>
void HttpSession<Stream>::OnSent(beast::error_code error) {
    response_.reset();
    if (error || !keepAlive_) return Close();
    ReadHeader();
}

template <class Stream>
void HttpSession<Stream>::StartEvents(HttpReply reply) {
    events_ = std::move(reply.events);
    eventsHeader_.emplace(http::status::ok, 11);
    AddReplyFields(*eventsHeader_, reply);
    eventsHeader_->keep_alive(false);
    eventsSerializer_.emplace(*eventsHeader_);
    writing_ = true;
    beast::get_lowest_layer(stream_).expires_after(limits_.requestTime);
    http::async_write_header(stream_, *eventsSerializer_,
                             [self = this->shared_from_this()](beast::error_code error, size_t) {
                                 self->writing_ = false;
                                 if (error) return self->Close();
                                 self->ArmKeepAlive();
                                 self->PumpEvents();
                             });
}

template <class Stream>
void HttpSession<Stream>::PumpEvents() {
    if (closed_) return;
    if (writing_) {
        pumpPending_ = true;
        return;
    }
    std::weak_ptr<HttpSession> weak = this->shared_from_this();
    auto wake = [weak] {
        if (auto self = weak.lock()) {
            asio::post(self->stream_.get_executor(), [self] { self->PumpEvents(); });
        }
    };
    std::string text;
    bool last = events_->Read(eventIndex_, text, wake);
    if (!text.empty()) return WriteEventText(std::move(text), last);
    if (last) Close();
}

template <class Stream>
void HttpSession<Stream>::WriteEventText(std::string text, bool last) {
    writing_ = true;
    outgoing_ = std::move(text);
    beast::get_lowest_layer(stream_).expires_after(limits_.requestTime);
    asio::async_write(stream_, asio::buffer(outgoing_),
                      [self = this->shared_from_this(), last](beast::error_code error, size_t) {
                          self->writing_ = false;
                          self->pumpPending_ = false;
                          if (error || last) return self->Close();
                          beast::get_lowest_layer(self->stream_).expires_never();
                          self->PumpEvents();
                      });
}

template <class Stream>
void HttpSession<Stream>::ArmKeepAlive() {
    keepAliveTimer_.expires_after(limits_.keepAliveComment);
    keepAliveTimer_.async_wait([self = this->shared_from_this()](beast::error_code error) {
        if (error || self->closed_) return;
        if (self->writing_) return self->ArmKeepAlive();
        self->WriteEventText(kKeepAliveComment, false);
        self->ArmKeepAlive();
    });
}

template <class Stream>
void HttpSession<Stream>::Close() {
    if (closed_) return;
    closed_ = true;
    keepAliveTimer_.cancel();
    beast::error_code ignored;
    if constexpr (IsTls(static_cast<Stream*>(nullptr))) {
        beast::get_lowest_layer(stream_).expires_after(std::chrono::seconds(5));
        stream_.async_shutdown([self = this->shared_from_this()](beast::error_code) {
            beast::error_code ignored;
            beast::get_lowest_layer(self->stream_).socket().close(ignored);
        });
    } else {
        stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    }
}

template class HttpSession<PlainStream>;
template class HttpSession<TlsStream>;
