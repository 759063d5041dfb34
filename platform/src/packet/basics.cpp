// The small pieces: status values, the context base, packet types, the registry, client hooks.
#include <kr/packet/read_context.h>
#include <kr/packet/status.h>
#include <kr/packet/type.h>

#include <string>
#include <utility>

ioStatus::ioStatus(std::uint64_t offset, std::string message)
    : message_(std::move(message)), offset_(offset), ok_(false) {}

ioContext::~ioContext() = default;

ioPacketType::ioPacketType(const char* name) : name_(name ? name : "") {}

ioPacketType::~ioPacketType() = default;

void ioPacketType::memoryNotReferenced(ioReadContext& in, void* object) {
  in.keepObject(object);
}

void ioPacketType::hasUnresolvedPointer(ioReadContext& in, int reference) {
  std::string reason =
      "pointer field names reference " + std::to_string(reference) + ", which no packet defined";
  in.fail(reason.c_str());
}

bool ioPacketType::verifyObject(void*, std::string&) {
  return true;
}

void ioPacketType::destroyObject(void*) {}

ioPacketRegistry::ioPacketRegistry() = default;

ioPacketRegistry::~ioPacketRegistry() = default;

void ioPacketRegistry::supportedType(ioPacketType* type) {
  if (!type) return;
  std::unique_ptr<ioPacketType> owned(type);  // freed if the table cannot grow
  types_[type->getName()] = std::move(owned);
}

ioPacketType* ioPacketRegistry::findType(const char* name) const {
  return name ? findType(std::string_view(name)) : nullptr;
}

ioPacketType* ioPacketRegistry::findType(std::string_view name) const {
  auto it = types_.find(name);
  return it == types_.end() ? nullptr : it->second.get();
}

ioClientReadContext::~ioClientReadContext() = default;

void ioClientReadContext::prePacketRead() {}

void ioClientReadContext::postPacketRead() {}
