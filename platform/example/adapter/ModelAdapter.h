// Our TV model over the made-up vendor's.
#ifndef EXAMPLE_MODELADAPTER_H
#define EXAMPLE_MODELADAPTER_H

#include <acme/Model.h>

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "frame/Process.h"
#include "vumodelapi/RootInterface.h"

namespace example {

// What lives as long as one connection: the watcher that hands on to our observer, and the handle.
class Connection {
  public:
    virtual ~Connection() = default;
    virtual acme::Watcher* Watcher() = 0;
};

// The interface and its root at once. Any thread.
class ModelInterface : public frame::Interface, private vumodelapi::RootInterface {
  public:
    explicit ModelInterface(acme::Model& model) : m_model(model) {}
    ~ModelInterface() override;
    ModelInterface(const ModelInterface&) = delete;
    ModelInterface& operator=(const ModelInterface&) = delete;

    vumodelapi::RootInterface* getRootInterface() override { return this; }

  private:
    using Key = std::pair<std::string, vumodelapi::Observer*>;

    std::int32_t connect(const std::string& key, vumodelapi::ObserverNumericInteger* observer,
                         vumodelapi::NumericInteger*& handle) override;
    std::int32_t connect(const std::string& key, vumodelapi::ObserverString* observer,
                         vumodelapi::String*& handle) override;
    std::int32_t connect(const std::string& key, vumodelapi::ObserverVectorNumericInteger* observer,
                         vumodelapi::VectorNumericInteger*& handle) override;
    std::int32_t connect(const std::string& key, vumodelapi::ObserverVectorString* observer,
                         vumodelapi::VectorString*& handle) override;
    std::int32_t connect(const std::string& key, vumodelapi::ObserverAction* observer,
                         vumodelapi::Action*& handle) override;
    std::int32_t connect(const std::string& key, vumodelapi::ObserverTable* observer,
                         vumodelapi::Table*& handle) override;
    std::int32_t disconnect(const std::string& key, vumodelapi::Observer* observer) override;

    template <class Kind, class Observer, class Handle, class Open>
    std::int32_t Keep(const std::string& key, Observer* observer, Handle*& handle, Open open);

    acme::Model& m_model;
    std::mutex m_mutex;
    std::multimap<Key, std::unique_ptr<Connection>> m_connections;
};

}  // namespace example

#endif
