// Entry points of the searches with a filter of the caller's own.
#include "bridge/exports/entry_point.h"
#include "bridge/row_stream.h"
#include "objects/search_operations.h"

namespace zorvan::bridge {
namespace {

jobject GetObjects(JNIEnv* env, CallObjects objects, jstring container, jstring filter,
                   JavaAttributes attributes) {
  objects.firstAnswer = directory::FirstAnswer::kDiscarded;
  return StreamToListener(env, objects, attributes,
                          [&](ExportFrame& frame, const auto& names, call::RowListener& rows) {
                            objects::GetObjects(frame.handler(),
                                                CopyJavaString(frame.java(), container),
                                                CopyJavaString(frame.java(), filter), names, rows);
                          });
}

}  // namespace
}  // namespace zorvan::bridge

ZORVAN_EXPORT(jobject, GetObjects)
(JNIEnv* env, jobject, jobject settings, jstring container, jstring filter, jobject attributes,
 jobject listener, jobject errors) {
  return zorvan::bridge::GetObjects(env, {{settings}, {listener}, {errors}}, container, filter,
                                    {attributes});
}
