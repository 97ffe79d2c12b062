// A text that several threads touch.
#ifndef ZELFAC_TEXT_SHAREDTEXT_H
#define ZELFAC_TEXT_SHAREDTEXT_H

#include <mutex>
#include <string>
#include <utility>

namespace zel {

// Every operation is complete in itself and may be called from any thread.
class SharedText {
  public:
    std::string Get() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_text;
    }
    void Set(std::string text) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_text = std::move(text);
    }
    void Append(const std::string& text) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_text += text;
    }
    bool Empty() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_text.empty();
    }

  private:
    mutable std::mutex m_mutex;
    std::string m_text;
};

}  // namespace zel

#endif
