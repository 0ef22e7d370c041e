#include "ldap_cache_writer.hpp"

#include <json/writer.h>

#include "system_paths.hpp"

LDAPCacheWriter::LDAPCacheWriter(const std::string& path, std::string category)
    : m_file(path, kSecretFileMode), m_category(std::move(category)) {}

void LDAPCacheWriter::Add(const Json::Value& result, const LDAPEntry& entry) {
    if (m_entries++ == 0) {
        Begin(result);
    } else {
        m_file.Write(",");
    }
    m_file.Write("{");
    for (size_t i = 0; i < entry.Size(); ++i) {
        if (i > 0) m_file.Write(",");
        WriteString(entry.At(i).first);
        m_file.Write(":");
        WriteString(entry.At(i).second);
    }
    m_file.Write("}");
}

bool LDAPCacheWriter::Commit(const Json::Value& result) {
    if (m_entries == 0) Begin(result);
    m_file.Write("]");
    WriteMembers(result, true);
    m_file.Write("}\n");
    return m_file.Commit();
}

void LDAPCacheWriter::Begin(const Json::Value& result) {
    m_file.Write("{");
    m_written.insert(m_category);
    WriteMembers(result, false);
    WriteString(m_category);
    m_file.Write(":[");
}

// The members of result not written yet: before the entries each followed by a comma, after
// them each preceded by one.
void LDAPCacheWriter::WriteMembers(const Json::Value& result, bool afterEntries) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    for (const std::string& name : result.getMemberNames()) {
        if (!m_written.insert(name).second) continue;
        if (afterEntries) m_file.Write(",");
        WriteString(name);
        m_file.Write(":");
        m_file.Write(Json::writeString(builder, result[name]));
        if (!afterEntries) m_file.Write(",");
    }
}

// text as a JSON string: quotes, backslashes and control characters escaped, the rest as is.
void LDAPCacheWriter::WriteString(std::string_view text) {
    static const char kHex[] = "0123456789abcdef";
    m_text.assign(1, '"');
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            m_text += '\\';
            m_text += c;
        } else if (byte < 0x20) {
            m_text += "\\u00";
            m_text += kHex[byte >> 4];
            m_text += kHex[byte & 15];
        } else {
            m_text += c;
        }
    }
    m_text += '"';
    m_file.Write(m_text);
}
