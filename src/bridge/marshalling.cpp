#include "bridge/marshalling.h"

#include <limits>
#include <stdexcept>

namespace zorvan::bridge {
namespace {

using call::LogMessage;
using call::NativeHandler;
using directory::DomainProperties;

static_assert(sizeof(jchar) == sizeof(char16_t));

LocalRef<jclass> FindClass(JavaCall& java, const char* name) {
  LocalRef<jclass> found(java.env(), java.env()->FindClass(name));
  java.Check();
  return found;
}

// The value under a key; null when there is none or an exception is pending.
LocalRef<jobject> GetValue(JavaCall& java, jobject settings, jstring key) {
  JNIEnv* env = java.env();
  jvalue argument;
  argument.l = key;
  LocalRef<jobject> value(
      env, env->CallObjectMethodA(settings, java.classes().propertiesGet, &argument));
  java.Check();
  return value;
}

// Reads straight into the text, so that a password leaves no second copy.
void CopyJavaCharacters(JavaCall& java, jcharArray array, std::optional<std::u16string>& text) {
  JNIEnv* env = java.env();
  const jsize length = env->GetArrayLength(array);
  text.emplace(static_cast<std::size_t>(length), u'\0');
  env->GetCharArrayRegion(array, 0, length, reinterpret_cast<jchar*>(text->data()));
  java.Check();
}

// Reads one key after the other from the domain settings.
class SettingsReader {
 public:
  SettingsReader(JavaCall& java, NativeHandler& handler, jobject settings)
      : java_(java), handler_(handler), settings_(settings) {}

  // From now on an absent key gets no log line, and a value of another class is counted.
  void BeginOptional() { optional_ = true; }
  std::uint32_t wrongOptionals() const { return wrongOptionals_; }

  void ReadText(std::string_view key, std::optional<std::u16string>& text) {
    if (java_.Failed()) return;
    const LocalRef<jstring> keyString = NewJavaString(java_, key);
    if (!keyString) return;
    JNIEnv* env = java_.env();
    jvalue argument;
    argument.l = keyString.get();
    const LocalRef<jstring> value(
        env, static_cast<jstring>(env->CallObjectMethodA(
                 settings_, java_.classes().propertiesGetProperty, &argument)));
    if (!java_.Check()) return;
    if (value) {
      CopyJavaString(java_, value.get(), text);
    } else {
      // getProperty answers null for a value of another class too.
      const LocalRef<jobject> other = GetValue(java_, settings_, keyString.get());
      NoteAbsent(key, static_cast<bool>(other), "String");
    }
  }

  // A char[] or a String. The array comes first, because getProperty passes it over and may find a
  // String among the defaults.
  void ReadPassword(std::string_view key, std::optional<std::u16string>& password) {
    JNIEnv* env = java_.env();
    if (java_.Failed()) return;
    const LocalRef<jstring> keyString = NewJavaString(java_, key);
    if (!keyString) return;
    const LocalRef<jobject> value = GetValue(java_, settings_, keyString.get());
    const LocalRef<jclass> arrayClass = FindClass(java_, "[C");
    if (java_.Failed()) return;
    if (value && env->IsInstanceOf(value.get(), arrayClass.get()) == JNI_TRUE) {
      CopyJavaCharacters(java_, static_cast<jcharArray>(value.get()), password);
    } else {
      ReadText(key, password);
    }
  }

  void ReadList(std::string_view key, std::optional<std::vector<std::u16string>>& texts) {
    const LocalRef<jobject> value = ReadObject(key, java_.classes().arrayListClass, "ArrayList");
    if (value) texts = ReadStringList(java_, handler_, value.get(), key);
  }

  void ReadInteger(std::string_view key, std::optional<std::int32_t>& number) {
    const LocalRef<jobject> value = ReadObject(key, java_.classes().integerClass, "Integer");
    if (!value) return;
    const jint result =
        java_.env()->CallIntMethodA(value.get(), java_.classes().integerValue, nullptr);
    if (java_.Check()) number = result;
  }

 private:
  LocalRef<jobject> ReadObject(std::string_view key, jclass expected, const char* className) {
    JNIEnv* env = java_.env();
    if (java_.Failed()) return {env, nullptr};
    const LocalRef<jstring> keyString = NewJavaString(java_, key);
    if (!keyString) return {env, nullptr};
    LocalRef<jobject> value = GetValue(java_, settings_, keyString.get());
    if (value && env->IsInstanceOf(value.get(), expected) == JNI_TRUE) return value;
    NoteAbsent(key, static_cast<bool>(value), className);
    return {env, nullptr};
  }

  void NoteAbsent(std::string_view key, bool wrongClass, const char* className) {
    if (java_.Failed()) return;
    if (optional_) {
      if (!wrongClass) return;
      ++wrongOptionals_;
      LogMessage(handler_, call::kMilestone, "The domain setting %s is no %s", key, className);
    } else if (wrongClass) {
      LogMessage(handler_, call::kMilestone,
                 "The domain setting %s is no %s and is taken as absent", key, className);
    } else {
      LogMessage(handler_, call::kDetail, "The domain setting %s is absent", key);
    }
  }

  JavaCall& java_;
  NativeHandler& handler_;
  jobject settings_;
  bool optional_ = false;
  std::uint32_t wrongOptionals_ = 0;
};

jsize LengthOf(std::u16string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<jsize>::max())) {
    throw std::length_error("a text is longer than a Java String can be");
  }
  return static_cast<jsize>(text.size());
}

}  // namespace

LocalRef<jstring> NewJavaString(JavaCall& java, std::u16string_view text) {
  JNIEnv* env = java.env();
  if (java.Failed()) return {env, nullptr};
  LocalRef<jstring> result(
      env, env->NewString(reinterpret_cast<const jchar*>(text.data()), LengthOf(text)));
  if (!result) java.Check();
  return result;
}

LocalRef<jstring> NewJavaString(JavaCall& java, std::string_view ascii) {
  return NewJavaString(java, std::u16string(ascii.begin(), ascii.end()));
}

void CopyJavaString(JavaCall& java, jstring value, std::optional<std::u16string>& text) {
  if (value == nullptr || java.Failed()) return;
  JNIEnv* env = java.env();
  const jsize length = env->GetStringLength(value);
  text.emplace(static_cast<std::size_t>(length), u'\0');
  env->GetStringRegion(value, 0, length, reinterpret_cast<jchar*>(text->data()));
  java.Check();
}

std::optional<std::u16string> CopyJavaString(JavaCall& java, jstring value) {
  std::optional<std::u16string> text;
  CopyJavaString(java, value, text);
  return text;
}

std::vector<std::u16string> ReadStringList(JavaCall& java, NativeHandler& handler, jobject list,
                                           std::string_view name) {
  std::vector<std::u16string> texts;
  if (java.Failed()) return texts;
  JNIEnv* env = java.env();
  const LocalRef<jclass> stringClass = FindClass(java, "java/lang/String");
  if (java.Failed()) return texts;
  const jint count = env->CallIntMethodA(list, java.classes().arrayListSize, nullptr);
  if (!java.Check()) return texts;
  for (jint i = 0; i < count && !java.Failed(); ++i) {
    jvalue index;
    index.i = i;
    const LocalRef<jobject> element(
        env, env->CallObjectMethodA(list, java.classes().arrayListGet, &index));
    if (!java.Check()) break;
    if (element && env->IsInstanceOf(element.get(), stringClass.get()) == JNI_TRUE) {
      std::optional<std::u16string> text;
      CopyJavaString(java, static_cast<jstring>(element.get()), text);
      if (text) texts.push_back(std::move(*text));
    } else {
      LogMessage(handler, call::kMilestone, "Element %d of %s is no String and is left out", i,
                 name);
    }
  }
  return texts;
}

std::vector<std::u16string> StringListToArray(JavaCall& java, NativeHandler& handler,
                                              jobject list) {
  std::vector<std::u16string> texts;
  if (list == nullptr) {
    LogMessage(handler, call::kMilestone, "No list of attributes was passed");
  } else {
    texts = ReadStringList(java, handler, list, "the list of attributes");
  }
  LogMessage(handler, call::kDetail, "Total Count of Attributes : %d", texts.size());
  return texts;
}

void ReadDomainProperties(JavaCall& java, NativeHandler& handler, jobject settings,
                          DomainProperties& properties) {
  SettingsReader reader(java, handler, settings);
  reader.ReadText("DOMAIN_NAME", properties.domainName);
  reader.ReadText("USER_DOMAIN_NAME", properties.userDomainName);
  reader.ReadList("DOMAIN_CONTROLLER_LIST", properties.domainControllers);
  reader.ReadList("GC_LIST", properties.globalCatalogs);
  reader.ReadText("USER_NAME", properties.userName);
  reader.ReadText("USER_DISTINGUISHED_NAME", properties.userDistinguishedName);
  reader.ReadPassword("PASSWORD", properties.password);
  reader.ReadText("DEFAULT_NAMING_CONTEXT", properties.defaultNamingContext);
  reader.ReadText("ROOT_DOMAIN_NAMING_CONTEXT", properties.rootDomainNamingContext);
  reader.ReadText("SCHEMA_NAMING_CONTEXT", properties.schemaNamingContext);
  reader.ReadText("CONFIGURATION_NAMING_CONTEXT", properties.configurationNamingContext);
  reader.ReadText("DOMAIN_FUNCTIONAL_LEVEL", properties.domainFunctionalLevel);
  reader.ReadText("IS_AUTHENTICATION_REQUIRED", properties.isAuthenticationRequired);
  reader.ReadInteger("ACCOUNT_LOOKUP_STATUS", properties.accountLookupStatus);
  reader.BeginOptional();
  reader.ReadText("CONTROLLERS_FROM_DNS", properties.controllersFromDns);
  reader.ReadText("ALLOW_NTLM", properties.allowNtlm);
  reader.ReadText("ALLOW_RC4", properties.allowRc4);
  reader.ReadText("TRUSTED_AUTHORITIES", properties.trustedAuthorities);
  reader.ReadInteger("CONNECT_TIME_LIMIT", properties.connectTimeLimit);
  reader.ReadInteger("IDLE_TIME_LIMIT", properties.idleTimeLimit);
  reader.ReadInteger("CALL_TIME_LIMIT", properties.callTimeLimit);
  reader.ReadInteger("MAX_MESSAGE_BYTES", properties.maxMessageBytes);
  properties.termsOfWrongClass = reader.wrongOptionals();
}

}  // namespace zorvan::bridge
