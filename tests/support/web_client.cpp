#include "web_client.hpp"

#include "call.hpp"

namespace http = boost::beast::http;

Json::Value WebReply::Json() const {
    return ParseJson(body);
}

WebClient::WebClient() {
    stream_.connect(
        boost::asio::ip::tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), kPort));
}

WebReply WebClient::Send(http::verb verb, const std::string& target, const std::string& body,
                         const WebFields& fields) {
    http::request<http::string_body> request(verb, target, 11);
    request.set(http::field::host, "127.0.0.1:" + std::to_string(kPort));
    for (const auto& field : fields) request.set(field.first, field.second);
    request.body() = body;
    if (!body.empty() || verb == http::verb::post) request.prepare_payload();
    http::write(stream_, request);
    return Read();
}

WebReply WebClient::Announce(size_t length) {
    http::request<http::empty_body> request(http::verb::post, "/api/call", 11);
    request.set(http::field::content_length, std::to_string(length));
    http::write(stream_, request);
    return Read();
}

WebReply WebClient::Read() {
    http::response_parser<http::string_body> parser;
    parser.body_limit(boost::none);
    boost::beast::error_code error;
    http::read(stream_, buffer_, parser, error);
    WebReply reply;
    reply.status = parser.get().result_int();
    for (const auto& field : parser.get())
        reply.fields[std::string(field.name_string())] = std::string(field.value());
    reply.body = parser.get().body();
    return reply;
}
