// Entry points of the plain reports, one for each line of the report table.
#include <string_view>
#include <variant>
#include <vector>

#include "bridge/exports/entry_point.h"
#include "bridge/report_shape.h"
#include "bridge/row_stream.h"
#include "reports/report_engine.h"

namespace zorvan::bridge {
namespace {

using JavaArgument = std::variant<jlong, jstring>;

struct ReportArguments {
  jobject settings;
  jstring baseDn;
  jobject attributes;
  jobject listener;
  std::vector<JavaArgument> parameters;
  jobject errors;
};

reports::ReportArgument ReadParameter(JavaCall& java, const JavaArgument& argument) {
  if (const jlong* number = std::get_if<jlong>(&argument)) return std::int64_t{*number};
  return CopyJavaString(java, std::get<jstring>(argument));
}

void Run(ExportFrame& frame, std::string_view method, ReportShape shape,
         const ReportArguments& given, const std::vector<std::u16string>& attributes,
         call::RowListener& rows) {
  const reports::ReportDefinition* report = reports::FindReport(method);
  if (report == nullptr || !HasShape(*report, shape)) {
    call::LogMessage(frame.handler(), call::kMilestone, "%s is no report of its declared form",
                     method);
    return;
  }
  std::vector<reports::ReportArgument> arguments;
  for (const JavaArgument& parameter : given.parameters) {
    arguments.push_back(ReadParameter(frame.java(), parameter));
  }
  reports::RunReport(frame.handler(), *report,
                     {CopyJavaString(frame.java(), given.baseDn), attributes, arguments}, rows,
                     frame.errors());
}

jobject StreamReport(JNIEnv* env, std::string_view method, ReportShape shape,
                     const ReportArguments& given) {
  return StreamToListener(env, {given.settings, given.listener, given.errors}, given.attributes,
                          [&](ExportFrame& frame, const auto& names, call::RowListener& rows) {
                            Run(frame, method, shape, given, names, rows);
                          });
}

}  // namespace
}  // namespace zorvan::bridge

// Between the listener and the error list stand the parameters of the shape.
#define ZORVAN_DECLARE_NoParameters
#define ZORVAN_DECLARE_OneText jstring first,
#define ZORVAN_DECLARE_TwoTexts jstring first, jstring second,
#define ZORVAN_DECLARE_OneTime jlong first,
#define ZORVAN_DECLARE_TwoTimes jlong first, jlong second,
#define ZORVAN_DECLARE_OneController jstring first,
#define ZORVAN_DECLARE_ControllerAndTime jstring first, jlong second,
#define ZORVAN_PASS_NoParameters \
  {}
#define ZORVAN_PASS_OneText \
  { first }
#define ZORVAN_PASS_TwoTexts \
  { first, second }
#define ZORVAN_PASS_OneTime \
  { first }
#define ZORVAN_PASS_TwoTimes \
  { first, second }
#define ZORVAN_PASS_OneController \
  { first }
#define ZORVAN_PASS_ControllerAndTime \
  { first, second }

#define ZORVAN_REPORT(method, shape, ...)                                                         \
  ZORVAN_EXPORT(jobject, method)                                                                  \
  (JNIEnv * env, jobject, jobject settings, jstring baseDn, jobject attributes, jobject listener, \
   ZORVAN_DECLARE_##shape jobject errors) {                                                       \
    return zorvan::bridge::StreamReport(                                                          \
        env, #method, zorvan::bridge::ReportShape::shape,                                         \
        {settings, baseDn, attributes, listener, ZORVAN_PASS_##shape, errors});                   \
  }
#include "reports/reports.def"
