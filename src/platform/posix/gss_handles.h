// GSSAPI handles with owners.
#pragma once

#include <gssapi/gssapi.h>

#include <string>
#include <utility>

namespace zorvan::platform::posix {

// Owns a GSSAPI handle; Release is the function of the library that gives it back.
template <typename Handle, auto Release>
class GssHandle {
 public:
  GssHandle() = default;
  GssHandle(GssHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  GssHandle& operator=(GssHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  GssHandle(const GssHandle&) = delete;
  GssHandle& operator=(const GssHandle&) = delete;
  ~GssHandle() {
    if (handle_ != nullptr) Release(handle_);
  }

  Handle get() const { return handle_; }
  Handle* out() { return &handle_; }

 private:
  Handle handle_ = nullptr;
};

inline void ReleaseName(gss_name_t name) {
  OM_uint32 minor = 0;
  gss_release_name(&minor, &name);
}
inline void ReleaseCredential(gss_cred_id_t credential) {
  OM_uint32 minor = 0;
  gss_release_cred(&minor, &credential);
}
inline void DeleteContext(gss_ctx_id_t context) {
  OM_uint32 minor = 0;
  gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
}

using GssName = GssHandle<gss_name_t, ReleaseName>;
using GssCredential = GssHandle<gss_cred_id_t, ReleaseCredential>;
using GssContext = GssHandle<gss_ctx_id_t, DeleteContext>;

// A buffer that GSSAPI filled.
class GssBuffer {
 public:
  GssBuffer() = default;
  GssBuffer(const GssBuffer&) = delete;
  GssBuffer& operator=(const GssBuffer&) = delete;
  ~GssBuffer() { Clear(); }

  gss_buffer_t out() {
    Clear();
    return &buffer_;
  }
  void* data() const { return buffer_.value; }
  std::size_t size() const { return buffer_.length; }

 private:
  void Clear() {
    OM_uint32 minor = 0;
    gss_release_buffer(&minor, &buffer_);
  }
  gss_buffer_desc buffer_ = GSS_C_EMPTY_BUFFER;
};

// What GSSAPI has to say of a failure, in words.
std::string GssText(OM_uint32 major, OM_uint32 minor, gss_OID mechanism);

// The mechanisms that are spoken here.
extern gss_OID const kSpnegoMechanism;
extern gss_OID const kKerberosMechanism;
extern gss_OID const kNtlmMechanism;

}  // namespace zorvan::platform::posix
