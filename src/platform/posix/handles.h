// Owners for the handles of the libraries that the adapter calls: one line for each kind.
#pragma once

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <gssapi/gssapi.h>
#include <krb5/krb5.h>
#include <ldap.h>
#include <netdb.h>
#include <profile.h>
#include <unistd.h>

#include <memory>
#include <utility>

namespace zorvan::platform::posix {

// Owns a handle that Close gives back; empty is the value that stands for none.
template <typename Handle, auto Close, Handle empty = Handle{}>
class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(Handle handle) : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { Reset(); }

  Handle get() const { return handle_; }
  explicit operator bool() const { return handle_ != empty; }

  // For functions that make a handle, and for those that go on with one that they made before.
  Handle* Put() {
    Reset();
    return &handle_;
  }
  Handle* InOut() { return &handle_; }

  [[nodiscard]] Handle Release() { return std::exchange(handle_, empty); }
  void Reset(Handle handle = empty) {
    const Handle old = std::exchange(handle_, handle);
    if (old != empty) static_cast<void>(Close(old));
  }

 private:
  Handle handle_ = empty;
};

// ---- The system

using FileDescriptor = UniqueHandle<int, close, -1>;
using AddressList = UniqueHandle<addrinfo*, freeaddrinfo>;

// ---- LDAP

inline void Unbind(LDAP* handle) { ldap_unbind_ext(handle, nullptr, nullptr); }

using LdapHandle = UniqueHandle<LDAP*, Unbind>;
using LdapMessage = UniqueHandle<LDAPMessage*, ldap_msgfree>;
using LdapText = UniqueHandle<char*, ldap_memfree>;
inline void FreeTexts(char** texts) { ldap_memvfree(reinterpret_cast<void**>(texts)); }
using LdapTexts = UniqueHandle<char**, FreeTexts>;
using BerValue = UniqueHandle<berval*, ber_bvfree>;
using BerValues = UniqueHandle<berval**, ldap_value_free_len>;

// ---- TLS

using TlsHandle = UniqueHandle<gnutls_session_t, gnutls_deinit>;
using TlsCredentials =
    UniqueHandle<gnutls_certificate_credentials_t, gnutls_certificate_free_credentials>;
using TlsPriority = UniqueHandle<gnutls_priority_t, gnutls_priority_deinit>;
using Certificate = UniqueHandle<gnutls_x509_crt_t, gnutls_x509_crt_deinit>;

// ---- GSSAPI

inline OM_uint32 DeleteGssContext(OM_uint32* minor, gss_ctx_id_t* context) {
  return gss_delete_sec_context(minor, context, GSS_C_NO_BUFFER);
}
template <typename Handle, auto Free>
void FreeGss(Handle handle) {
  OM_uint32 minor = 0;
  Free(&minor, &handle);
}

using GssName = UniqueHandle<gss_name_t, FreeGss<gss_name_t, gss_release_name>>;
using GssCredential = UniqueHandle<gss_cred_id_t, FreeGss<gss_cred_id_t, gss_release_cred>>;
using GssContext = UniqueHandle<gss_ctx_id_t, FreeGss<gss_ctx_id_t, DeleteGssContext>>;

// A buffer that GSSAPI fills and frees.
class GssBuffer {
 public:
  GssBuffer() = default;
  GssBuffer(const GssBuffer&) = delete;
  GssBuffer& operator=(const GssBuffer&) = delete;
  ~GssBuffer() { Clear(); }

  gss_buffer_t Put() {
    Clear();
    return &buffer_;
  }
  void Clear() {
    OM_uint32 minor = 0;
    gss_release_buffer(&minor, &buffer_);
  }
  void* data() const { return buffer_.value; }
  std::size_t size() const { return buffer_.length; }

 private:
  gss_buffer_desc buffer_ = GSS_C_EMPTY_BUFFER;
};

// ---- Kerberos; everything but the context itself must go before the context does.

using KerberosContext = UniqueHandle<krb5_context, krb5_free_context>;
using KerberosProfile = UniqueHandle<profile_t, profile_release>;

template <typename Handle, auto Free>
class KerberosHandle {
 public:
  explicit KerberosHandle(krb5_context context) : context_(context) {}
  KerberosHandle(const KerberosHandle&) = delete;
  KerberosHandle& operator=(const KerberosHandle&) = delete;
  ~KerberosHandle() { Reset(); }

  Handle get() const { return handle_; }
  Handle operator->() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }
  Handle* Put() {
    Reset();
    return &handle_;
  }

 private:
  void Reset() {
    if (handle_ != nullptr) static_cast<void>(Free(context_, handle_));
    handle_ = nullptr;
  }
  krb5_context context_;
  Handle handle_ = nullptr;
};

using KerberosPrincipal = KerberosHandle<krb5_principal, krb5_free_principal>;
using KerberosCache = KerberosHandle<krb5_ccache, krb5_cc_destroy>;
using OpenKerberosCache = KerberosHandle<krb5_ccache, krb5_cc_close>;  // somebody else's
using KerberosOptions = KerberosHandle<krb5_get_init_creds_opt*, krb5_get_init_creds_opt_free>;
using KerberosLogonState = KerberosHandle<krb5_init_creds_context, krb5_init_creds_free>;
using KerberosTicketState = KerberosHandle<krb5_tkt_creds_context, krb5_tkt_creds_free>;
using KerberosError = KerberosHandle<krb5_error*, krb5_free_error>;
using KerberosText = KerberosHandle<char*, krb5_free_string>;
using KerberosMessage = KerberosHandle<const char*, krb5_free_error_message>;

// For the structures that libkrb5 fills in place and whose contents are freed.
template <typename Structure, auto FreeContents>
class KerberosContents {
 public:
  explicit KerberosContents(krb5_context context) : context_(context) {}
  KerberosContents(const KerberosContents&) = delete;
  KerberosContents& operator=(const KerberosContents&) = delete;
  ~KerberosContents() { FreeContents(context_, &contents_); }

  Structure* get() { return &contents_; }
  Structure* operator->() { return &contents_; }

 private:
  krb5_context context_;
  Structure contents_{};
};

using KerberosData = KerberosContents<krb5_data, krb5_free_data_contents>;
using KerberosTicket = KerberosContents<krb5_creds, krb5_free_cred_contents>;

}  // namespace zorvan::platform::posix
