#include "http_server.hpp"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "http_session.hpp"

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

namespace {

const size_t kIoThreads = 2;
const size_t kWorkerThreads = 8;
const std::chrono::milliseconds kAcceptRetry{100};

}  // namespace

class HttpServer::Impl {
  public:
    explicit Impl(WebApi& api) : api_(api), workers_(kWorkerThreads) {}

    bool Listen(const ListenConfig& config, std::string& error);
    void Run(const std::function<void()>& onStop);

  private:
    void Accept();
    void OnAccept(boost::system::error_code error, tcp::socket socket);

    WebApi& api_;
    HttpLimits limits_;
    asio::io_context io_{static_cast<int>(kIoThreads)};
    asio::thread_pool workers_;
    tcp::acceptor acceptor_{io_};
    asio::steady_timer retry_{io_};
    std::optional<asio::ssl::context> tls_;
};

bool HttpServer::Impl::Listen(const ListenConfig& config, std::string& error) {
    try {
        if (!config.tlsCert.empty()) {
            tls_.emplace(asio::ssl::context::tls_server);
            tls_->set_options(asio::ssl::context::default_workarounds |
                              asio::ssl::context::no_sslv2 | asio::ssl::context::no_sslv3 |
                              asio::ssl::context::no_tlsv1 | asio::ssl::context::no_tlsv1_1);
            tls_->use_certificate_chain_file(config.tlsCert);
            tls_->use_private_key_file(config.tlsKey, asio::ssl::context::pem);
        }
        tcp::endpoint endpoint(asio::ip::make_address(config.address), config.port);
        acceptor_.open(endpoint.protocol());
        acceptor_.set_option(asio::socket_base::reuse_address(true));
        acceptor_.bind(endpoint);
        acceptor_.listen(asio::socket_base::max_listen_connections);
    } catch (const boost::system::system_error& failure) {
        error = failure.what();
        return false;
    }
    return true;
}

void HttpServer::Impl::Accept() {
    acceptor_.async_accept(asio::make_strand(io_),
                           [this](boost::system::error_code error, tcp::socket socket) {
                               OnAccept(error, std::move(socket));
                           });
}

void HttpServer::Impl::OnAccept(boost::system::error_code error, tcp::socket socket) {
    if (!acceptor_.is_open()) return;
    if (error) {
        // Out of descriptors or similar: try again shortly instead of spinning.
        retry_.expires_after(kAcceptRetry);
        retry_.async_wait([this](boost::system::error_code) { Accept(); });
        return;
    }
    boost::system::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    if (tls_) {
        std::make_shared<HttpSession<TlsStream>>(TlsStream(std::move(socket), *tls_), api_,
                                                 workers_, limits_)
            ->Start();
    } else {
        std::make_shared<HttpSession<PlainStream>>(PlainStream(std::move(socket)), api_, workers_,
                                                   limits_)
            ->Start();
    }
    Accept();
}

void HttpServer::Impl::Run(const std::function<void()>& onStop) {
    asio::signal_set signals(io_, SIGINT, SIGTERM);
    signals.async_wait([this, &onStop](boost::system::error_code, int) {
        boost::system::error_code ignored;
        acceptor_.close(ignored);
        retry_.cancel();
        onStop();
        io_.stop();
    });
    Accept();
    std::vector<std::thread> threads;
    for (size_t i = 1; i < kIoThreads; ++i) threads.emplace_back([this] { io_.run(); });
    io_.run();
    for (std::thread& thread : threads) thread.join();
    workers_.join();
}

HttpServer::HttpServer(WebApi& api) : impl_(std::make_unique<Impl>(api)) {}

HttpServer::~HttpServer() = default;

bool HttpServer::Listen(const ListenConfig& config, std::string& error) {
    return impl_->Listen(config, error);
}

void HttpServer::Run(const std::function<void()>& onStop) {
    impl_->Run(onStop);
}
