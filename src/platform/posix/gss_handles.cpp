#include "platform/posix/gss_handles.h"

namespace zorvan::platform::posix {
namespace {

gss_OID_desc theSpnego = {6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
gss_OID_desc theKerberos = {9, const_cast<char*>("\x2a\x86\x48\x86\xf7\x12\x01\x02\x02")};
gss_OID_desc theNtlm = {10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};

void AppendStatus(std::string& text, OM_uint32 status, int kind, gss_OID mechanism) {
  OM_uint32 more = 0;
  do {
    OM_uint32 minor = 0;
    GssBuffer message;
    if (GSS_ERROR(gss_display_status(&minor, status, kind, mechanism, &more, message.out()))) return;
    if (!text.empty()) text += "; ";
    text.append(static_cast<const char*>(message.data()), message.size());
  } while (more != 0);
}

}  // namespace

gss_OID const kSpnegoMechanism = &theSpnego;
gss_OID const kKerberosMechanism = &theKerberos;
gss_OID const kNtlmMechanism = &theNtlm;

std::string GssText(OM_uint32 major, OM_uint32 minor, gss_OID mechanism) {
  std::string text;
  AppendStatus(text, major, GSS_C_GSS_CODE, GSS_C_NO_OID);
  if (minor != 0) AppendStatus(text, minor, GSS_C_MECH_CODE, mechanism);
  return text;
}

}  // namespace zorvan::platform::posix
