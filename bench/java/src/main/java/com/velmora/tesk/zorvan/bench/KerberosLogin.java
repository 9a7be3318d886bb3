package com.velmora.tesk.zorvan.bench;

import java.util.Map;
import javax.security.auth.Subject;
import javax.security.auth.callback.Callback;
import javax.security.auth.callback.NameCallback;
import javax.security.auth.callback.PasswordCallback;
import javax.security.auth.login.AppConfigurationEntry;
import javax.security.auth.login.AppConfigurationEntry.LoginModuleControlFlag;
import javax.security.auth.login.Configuration;
import javax.security.auth.login.LoginContext;
import javax.security.auth.login.LoginException;

/** Logs on to Kerberos with name and password, in the JDK's own way. */
final class KerberosLogin {
  private KerberosLogin() {}

  static Subject of(Server server) throws LoginException {
    Configuration configuration =
        new Configuration() {
          @Override
          public AppConfigurationEntry[] getAppConfigurationEntry(String name) {
            return new AppConfigurationEntry[] {
              new AppConfigurationEntry(
                  "com.sun.security.auth.module.Krb5LoginModule",
                  LoginModuleControlFlag.REQUIRED,
                  Map.of())
            };
          }
        };
    LoginContext context =
        new LoginContext(
            "bench", new Subject(), callbacks -> answer(server, callbacks), configuration);
    context.login();
    return context.getSubject();
  }

  private static void answer(Server server, Callback[] callbacks) {
    for (Callback callback : callbacks) {
      if (callback instanceof NameCallback name) {
        name.setName(server.principal());
      } else if (callback instanceof PasswordCallback password) {
        password.setPassword(server.password().toCharArray());
      }
    }
  }
}
