// TCP port probe: tries every address of a host, one after the other, each within a time limit.
#pragma once

#include <json/value.h>

#include <boost/asio/deadline_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

#include <cstdint>
#include <string>

class PortChecker {
  public:
    PortChecker(const std::string& host, int32_t port);

    void SetHost(const std::string& host) { m_host = host; }
    void SetPort(int32_t port) { m_port = port; }
    void SetTimeout(int seconds);
    void InitStatus();

    // 0: every address accepted; above 0: number of failed addresses (1 when the host does not
    // resolve); -1: the probe itself broke down.
    int Scan();

    Json::Value GetFailResult() const { return m_failList; }
    Json::Value GetSucessResult() const { return m_successList; }

  private:
    // A default-constructed iterator marks the end: no further addresses.
    using ResolverIterator = boost::asio::ip::tcp::resolver::results_type::const_iterator;

    // Sets m_endpoint to the first address of the host and next to the ones after it; false when
    // the host does not resolve.
    bool PrepareEndpoint(ResolverIterator* next);
    void ScanAll();
    void CreateSocket(ResolverIterator next);
    void ConnectHandler(const boost::system::error_code& error, ResolverIterator next);
    void CheckDeadline();

    int32_t m_status = 0;
    int32_t m_port;
    bool m_timedOut = false;
    std::string m_host;
    boost::asio::io_context m_ioContext;
    boost::asio::deadline_timer m_deadline;
    boost::asio::ip::tcp::socket m_socket;
    boost::asio::ip::tcp::endpoint m_endpoint;
    boost::asio::ip::tcp::resolver m_resolver;
    int64_t m_timeoutMicroseconds = 3000000;
    Json::Value m_failList{Json::arrayValue};
    Json::Value m_successList{Json::arrayValue};
};
