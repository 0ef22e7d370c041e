#include "ldap_cache_reader.hpp"

#include <rapidjson/filereadstream.h>
#include <rapidjson/reader.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "trusted_file.hpp"

namespace {

// As the JSON library: comments, trailing commas and text after the value, nesting up to 1000.
const unsigned kParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseStopWhenDoneFlag |
                             rapidjson::kParseCommentsFlag | rapidjson::kParseTrailingCommasFlag;
const int kMaxDepth = 1000;
const size_t kReadBufferSize = 1 << 16;
const char kByteOrderMark[] = "\xEF\xBB\xBF";

bool operator!=(const ResultAttributes& a, const ResultAttributes& b) {
    return a.name != b.name || a.id != b.id;
}

// Skips a UTF-8 byte order mark at the start of file.
void Rewind(FILE* file) {
    rewind(file);
    char start[3] = {};
    if (fread(start, 1, 3, file) != 3 || memcmp(start, kByteOrderMark, 3) != 0) rewind(file);
}

}  // namespace

// The reader's events, by depth: the root object (1), its members' values; the "attribute"
// object's members and the entry array's elements (2); an entry's members (3).
class CacheHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, CacheHandler> {
  public:
    CacheHandler(LDAPCacheReader& reader, const EntrySink& sink) : m_reader(reader), m_sink(sink) {}

    bool Null() { return Scalar(Json::Value()); }
    bool Bool(bool value) { return Scalar(Json::Value(value)); }
    bool Int(int value) { return Scalar(Json::Value(value)); }
    bool Uint(unsigned value) { return Scalar(Json::Value(value)); }
    bool Int64(int64_t value) { return Scalar(Json::Value(Json::Int64(value))); }
    bool Uint64(uint64_t value) { return Scalar(Json::Value(Json::UInt64(value))); }
    bool Double(double value) { return Scalar(Json::Value(value)); }

    bool String(const char* text, rapidjson::SizeType length, bool) {
        std::string_view value(text, length);
        if (m_depth == 3 && m_inEntry) {
            if (m_sending) m_entry.Set(m_key[2], value);
            return true;
        }
        return !InHead() || Scalar(Json::Value(text, text + length));
    }

    bool Key(const char* text, rapidjson::SizeType length, bool) {
        if (m_depth <= 3) m_key[m_depth - 1].assign(text, length);
        return true;
    }

    bool StartObject() { return Open(true); }
    bool StartArray() { return Open(false); }
    bool EndObject(rapidjson::SizeType) { return Close(); }
    bool EndArray(rapidjson::SizeType) { return Close(); }

  private:
    // Whether a value here can be one of the head's.
    bool InHead() const {
        return (m_depth == 1 && m_rootObject) || (m_depth == 2 && m_inAttribute);
    }

    bool Scalar(const Json::Value& value) {
        if (m_depth == 1 && m_rootObject) RootMember(value, false, false);
        if (m_depth == 2 && m_inAttribute) AttributeMember(value);
        if (m_depth == 3 && m_inEntry) m_entry.Erase(m_key[2]);
        return true;
    }

    bool Open(bool object) {
        if (m_depth == 0) m_rootObject = object;
        if (m_depth == 1 && m_rootObject) RootMember(Json::Value(), object, !object);
        if (m_depth == 2 && m_inAttribute) AttributeMember(Json::Value());
        if (m_depth == 2 && m_inEntries && object) {
            m_inEntry = true;
            m_entry.Clear();
        }
        if (m_depth == 3 && m_inEntry) m_entry.Erase(m_key[2]);
        return ++m_depth <= kMaxDepth;
    }

    bool Close() {
        --m_depth;
        if (m_depth == 2 && m_inEntry) {
            m_inEntry = false;
            if (m_sending) m_sink(m_entry, m_attributes);
        }
        if (m_depth == 1) m_inAttribute = m_inEntries = m_sending = false;
        return true;
    }

    // A value of the root object's member m_key[0]; containers as object or array.
    void RootMember(const Json::Value& value, bool object, bool array) {
        const std::string& key = m_key[0];
        Json::Value& head = m_reader.m_head;
        if (key == "attribute") {
            head[key] = object ? Json::Value(Json::objectValue) : Json::Value();
            m_inAttribute = object;
        } else if (key == "server_type" || key == "skip_id_type_check") {
            head[key] = value;
        }
        if (key == m_reader.m_category) CategoryMember(array);
    }

    void AttributeMember(const Json::Value& value) {
        const std::string& key = m_key[1];
        Json::Value& attribute = m_reader.m_head["attribute"];
        if (value.isString()) {
            attribute[key] = value;
        } else {
            attribute.removeMember(key);
        }
    }

    // The category's member, the index-th of that name: entries when it is an array. The first
    // pass sends every entry array with the attributes known at its start, the second only the
    // last one, with the final attributes.
    void CategoryMember(bool array) {
        LDAPCacheReader& reader = m_reader;
        int index = reader.m_categoryMembers;
        if (reader.m_passes == 0) {
            ++reader.m_categoryMembers;
            reader.m_entriesMember = array ? index : -1;
            if (!array) return;
            m_attributes = AttributesOf(reader.m_head);
            reader.m_sentIndex = index;
            reader.m_sentAttributes = m_attributes;
            ++reader.m_sentMembers;
        } else {
            ++reader.m_categoryMembers;
            if (!array || index != reader.m_entriesMember) return;
            m_attributes = reader.m_finalAttributes;
        }
        m_inEntries = m_sending = true;
    }

    LDAPCacheReader& m_reader;
    const EntrySink& m_sink;
    int m_depth = 0;
    bool m_rootObject = false;
    bool m_inAttribute = false;
    bool m_inEntries = false;
    bool m_inEntry = false;
    bool m_sending = false;
    std::string m_key[3];
    LDAPEntry m_entry;
    ResultAttributes m_attributes;
};

LDAPCacheReader::LDAPCacheReader(const std::string& path, std::string category)
    : m_category(std::move(category)) {
    m_file = TrustedFile(path).ReleaseStream();
}

LDAPCacheReader::~LDAPCacheReader() {
    if (m_file) fclose(m_file);
}

bool LDAPCacheReader::Read(const EntrySink& sink) {
    if (!m_file || m_passes >= 2) return false;
    Rewind(m_file);
    m_head = Json::Value(Json::objectValue);
    m_categoryMembers = 0;
    char buffer[kReadBufferSize];
    rapidjson::FileReadStream stream(m_file, buffer, sizeof(buffer));
    CacheHandler handler(*this, sink);
    rapidjson::Reader reader;
    bool parsed = !reader.Parse<kParseFlags>(stream, handler).IsError();
    if (m_passes++ == 0) m_finalAttributes = AttributesOf(m_head);
    return parsed;
}

bool LDAPCacheReader::NeedsSecondPass() const {
    if (m_passes != 1 || m_sentMembers == 0) return false;
    return m_sentMembers > 1 || m_sentIndex != m_entriesMember ||
           m_sentAttributes != m_finalAttributes;
}
