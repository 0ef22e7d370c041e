#include "session_store.hpp"

#include <sys/random.h>

#include <stdexcept>
#include <vector>

namespace {

const size_t kTokenBytes = 32;

}  // namespace

std::string RandomHex(size_t count) {
    std::vector<unsigned char> bytes(count);
    size_t filled = 0;
    while (filled < count) {
        ssize_t got = getrandom(bytes.data() + filled, count - filled, 0);
        if (got < 0) throw std::runtime_error("getrandom failed");
        filled += static_cast<size_t>(got);
    }
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

bool SecretsEqual(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (size_t i = 0; i < a.size(); ++i) difference |= a[i] ^ b[i];
    return difference == 0;
}

WebSession SessionStore::Create(const std::string& user) {
    auto now = std::chrono::steady_clock::now();
    WebSession session{RandomHex(kTokenBytes), user, RandomHex(kTokenBytes), now, now};
    std::lock_guard<std::mutex> lock(mutex_);
    DropExpired(now);
    sessions_[session.token] = session;
    return session;
}

bool SessionStore::Find(const std::string& token, WebSession& session) {
    auto now = std::chrono::steady_clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = sessions_.find(token);
    if (found == sessions_.end()) return false;
    if (Expired(found->second, now)) {
        sessions_.erase(found);
        return false;
    }
    found->second.lastUsed = now;
    session = found->second;
    return true;
}

void SessionStore::Remove(const std::string& token) {
    std::lock_guard<std::mutex> lock(mutex_);
    sessions_.erase(token);
}

bool SessionStore::Expired(const WebSession& session,
                           std::chrono::steady_clock::time_point now) const {
    return now - session.lastUsed > kIdleLimit || now - session.created > kAbsoluteLimit;
}

void SessionStore::DropExpired(std::chrono::steady_clock::time_point now) {
    for (auto session = sessions_.begin(); session != sessions_.end();) {
        session = Expired(session->second, now) ? sessions_.erase(session) : std::next(session);
    }
}
