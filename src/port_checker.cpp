#include "port_checker.hpp"

#include "log.hpp"

#include <boost/asio/ip/address.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <exception>
#include <iterator>
#include <string>

namespace asio = boost::asio;
using asio::ip::tcp;

PortChecker::PortChecker(const std::string& host, int32_t port)
    : m_port(port),
      m_host(host),
      m_deadline(m_ioContext),
      m_socket(m_ioContext),
      m_resolver(m_ioContext) {}

void PortChecker::SetTimeout(int seconds) {
    m_timeoutMicroseconds = static_cast<int64_t>(seconds) * 1000000;
}

void PortChecker::InitStatus() {
    m_status = 0;
    m_failList = Json::Value(Json::arrayValue);
    m_ioContext.restart();
}

int PortChecker::Scan() {
    InitStatus();
    try {
        ScanAll();
    } catch (const std::exception& e) {
        if (e.what()[0] != '\0') {
            DS_LOG(LOG_DEBUG, "%s:%d Port Checker exception: %s", e.what());
        } else {
            DS_LOG(LOG_DEBUG, "%s:%d Port Checker exception.");
        }
        return -1;
    }
    return m_status;
}

void PortChecker::ScanAll() {
    ResolverIterator next;
    if (!PrepareEndpoint(&next)) {
        m_failList.append(m_host);
        m_status = 1;
        return;
    }
    CreateSocket(next);
    m_ioContext.run();
}

bool PortChecker::PrepareEndpoint(ResolverIterator* next) {
    boost::system::error_code error;
    const asio::ip::address address = asio::ip::make_address(m_host, error);
    if (!error) {
        m_endpoint = tcp::endpoint(address, static_cast<unsigned short>(m_port));
        *next = ResolverIterator();
        return true;
    }
    const tcp::resolver::results_type results = m_resolver.resolve(
        m_host, std::to_string(m_port), tcp::resolver::address_configured, error);
    if (error || results.empty()) {
        return false;
    }
    m_endpoint = results.begin()->endpoint();
    *next = std::next(results.begin());
    return true;
}

void PortChecker::CreateSocket(ResolverIterator next) {
    m_timedOut = false;
    m_deadline.expires_at(boost::posix_time::microsec_clock::universal_time() +
                          boost::posix_time::microseconds(m_timeoutMicroseconds));
    if (!m_socket.is_open()) {
        m_socket.open(m_endpoint.protocol());
    }
    m_socket.async_connect(m_endpoint, [this, next](const boost::system::error_code& error) {
        ConnectHandler(error, next);
    });
    m_deadline.async_wait([this](const boost::system::error_code&) { CheckDeadline(); });
}

void PortChecker::ConnectHandler(const boost::system::error_code& error, ResolverIterator next) {
    if (!m_timedOut) {
        m_deadline.cancel();
        m_socket.close();
    }
    // A reset proves that something listens on the port.
    if (error && error != asio::error::connection_reset) {
        ++m_status;
        m_failList.append(m_endpoint.address().to_string());
    } else {
        m_successList.append(m_endpoint.address().to_string());
    }
    if (next != ResolverIterator()) {
        m_endpoint = next->endpoint();
        CreateSocket(std::next(next));
    }
}

void PortChecker::CheckDeadline() {
    if (m_deadline.expires_at() > boost::posix_time::microsec_clock::universal_time()) {
        return;
    }
    m_timedOut = true;
    m_deadline.cancel();
    boost::system::error_code ignored;
    m_socket.close(ignored);
}
