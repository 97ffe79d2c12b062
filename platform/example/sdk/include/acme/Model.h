// A made-up vendor's access to the TV model: the same things as ours under other names.
#ifndef ACME_MODEL_H
#define ACME_MODEL_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace acme {

using Words = std::vector<std::string>;

struct Parameter {
    int place;
    std::string text;
};

// What a caller hears of a key, on threads of the library's own.
class Watcher {
  public:
    virtual ~Watcher() = default;
    virtual void onLink(int state) = 0;
};

class IntegerWatcher : public Watcher {
  public:
    virtual void onInteger(int value) = 0;
};

class TextWatcher : public Watcher {
  public:
    virtual void onText(const char* text) = 0;
};

class IntegersWatcher : public Watcher {
  public:
    virtual void onIntegers(const int* values, std::size_t count) = 0;
};

class TextsWatcher : public Watcher {
  public:
    virtual void onTexts(const Words& texts) = 0;
};

class CallWatcher : public Watcher {
  public:
    virtual void onDone(const std::vector<Parameter>& results) = 0;
    virtual void onFailed(int error) = 0;
};

class TableWatcher : public Watcher {
  public:
    virtual void onChanged(int what) = 0;
};

class CursorWatcher : public Watcher {
  public:
    enum Event { Committed, AtRow, AtContent, AtPosition, RowRead, Ready, Changed };
    virtual void onEvent(Event event, int detail) = 0;
    virtual void onCount(int rows) = 0;
    virtual void onRows(const std::vector<Words>& rows) = 0;
};

// Handles belong to the library until close(). What returns int returns 0 when it went well.
class Integer {
  public:
    virtual int write(int value) = 0;
    virtual int read(int& value) = 0;
};

class Text {
  public:
    virtual int write(const char* text) = 0;
    virtual int read(std::string& text) = 0;
};

class Integers {
  public:
    virtual int writeAt(const std::vector<std::pair<int, int>>& elements) = 0;
    virtual int readAll(std::vector<int>& values) = 0;
};

class Texts {
  public:
    virtual int readAll(Words& texts) = 0;
};

class Call {
  public:
    virtual int start(const std::vector<Parameter>& parameters) = 0;
};

class Cursor {
  public:
    virtual int askCount() = 0;
    virtual int askRows(int count) = 0;
    virtual void release() = 0;
};

struct Column {
    int code;
    int operation;
    std::string text;
};

class Table {
  public:
    virtual Cursor* open(const std::vector<Column>& columns, CursorWatcher* watcher) = 0;
};

class Model {
  public:
    // The model; null when the middleware does not run. leave() ends what was opened through it.
    static Model* enter(const char* interface);
    virtual void leave() = 0;

    virtual Integer* openInteger(const char* key, IntegerWatcher* watcher) = 0;
    virtual Text* openText(const char* key, TextWatcher* watcher) = 0;
    virtual Integers* openIntegers(const char* key, IntegersWatcher* watcher) = 0;
    virtual Texts* openTexts(const char* key, TextsWatcher* watcher) = 0;
    virtual Call* openCall(const char* key, CallWatcher* watcher) = 0;
    virtual Table* openTable(const char* key, TableWatcher* watcher) = 0;

    // Waits for a watcher that is being told something.
    virtual int close(const char* key, Watcher* watcher) = 0;
};

}  // namespace acme

#endif
