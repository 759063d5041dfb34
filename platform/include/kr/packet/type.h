// ioPacketType and ioPacketRegistry: the packet kinds a reader understands.
//
//   class MeshType : public ioPacketType {
//    public:
//     MeshType() : ioPacketType("mesh") {}
//     void readPacket(ioReadContext& in) override {
//       auto mesh = std::make_unique<Mesh>();
//       int n = in.readCount(sizeof(float));
//       mesh->xyz.resize(n);
//       in.readFloats(mesh->xyz.data(), n);
//       in.defineReference(mesh.release());
//     }
//     void destroyObject(void* object) override { delete static_cast<Mesh*>(object); }
//   };
//   ioPacketRegistry registry;
//   registry.supportedType(new MeshType);
//
// One thread at a time.
#pragma once

#include <kr/export.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class ioReadContext;

// One kind of packet, found by its name. The reader calls it for every packet of that name and,
// at the end of a read, for the objects those packets defined.
class KR_PLATFORM_EXPORT ioPacketType {
 public:
  // name is copied; at most 255 bytes, not empty.
  explicit ioPacketType(const char* name);
  // Polymorphic base.
  virtual ~ioPacketType();
  ioPacketType(const ioPacketType&) = delete;
  ioPacketType& operator=(const ioPacketType&) = delete;

  // The packet name this type reads.
  const char* getName() const noexcept { return name_.c_str(); }

  // Reads one packet body; the context is positioned at its first chunk.
  virtual void readPacket(ioReadContext& in) = 0;
  // End of read: object was defined by a packet of this type and no pointer field names it.
  // Default: in.keepObject(object), so that takeObjects hands it out. An override that does not
  // call keepObject takes the object over.
  virtual void memoryNotReferenced(ioReadContext& in, void* object);
  // End of a read that met no other failure: a deferred pointer field read by a packet of this
  // type names a reference no packet defined. Default: the field stays null and the read fails.
  virtual void hasUnresolvedPointer(ioReadContext& in, int reference);
  // End of read, for every object a packet of this type defined: false rejects it (the read fails
  // with reason and the object is destroyed). Default: true.
  virtual bool verifyObject(void* object, std::string& reason);
  // Frees an object a packet of this type defined, with the objects it owns through its pointer
  // fields; the reader first clears every field naming an object it keeps. Default: nothing.
  virtual void destroyObject(void* object);

 private:
  std::string name_;
};

// The set of packet types a reader dispatches to. Owns its types; must outlive every
// ioReadContext built on it and every object those contexts still own. One thread at a time.
class KR_PLATFORM_EXPORT ioPacketRegistry {
 public:
  // Empty registry.
  ioPacketRegistry();
  // Destroys the types.
  ~ioPacketRegistry();
  ioPacketRegistry(const ioPacketRegistry&) = delete;
  ioPacketRegistry& operator=(const ioPacketRegistry&) = delete;

  // Takes ownership of type (also when registering it throws std::bad_alloc, which destroys it);
  // packets with its name go to it. A later type with a name already
  // registered replaces (and destroys) the earlier one; do not replace types while a context
  // built on this registry still owns objects.
  void supportedType(ioPacketType* type);
  // The type registered under name, or null.
  ioPacketType* findType(const char* name) const;
  // Same, for a name that need not be null-terminated.
  ioPacketType* findType(std::string_view name) const;

 private:
  std::map<std::string, std::unique_ptr<ioPacketType>, std::less<>> types_;
};
