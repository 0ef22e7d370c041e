#include "tool_override.hpp"

#include "sandbox.hpp"

ToolOverride::ToolOverride(const std::string& path, const std::string& body)
    : m_path(path), m_existed(Sandbox::Exists(path)) {
    if (m_existed) m_original = Sandbox::ReadFile(path);
    Sandbox::WriteScript(path, body);
}

ToolOverride::~ToolOverride() {
    if (m_existed) {
        Sandbox::WriteFile(m_path, m_original, 0755);
    } else {
        Sandbox::Remove(m_path);
    }
}
