package com.velmora.tesk.zorvan.common.server.bridge;

import java.lang.annotation.ElementType;
import java.lang.annotation.Inherited;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;
import java.lang.reflect.Constructor;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.util.Set;
import org.junit.jupiter.api.extension.ExtendWith;
import org.junit.jupiter.api.extension.ExtensionContext;
import org.junit.jupiter.api.extension.InvocationInterceptor;
import org.junit.jupiter.api.extension.ReflectiveInvocationContext;

/**
 * Runs the methods of a test class in a {@link BridgeLoader} of that class's own. The class has a
 * constructor without parameters and no set-up methods; parameters of its tests are classes of the
 * Java platform.
 */
@Target(ElementType.TYPE)
@Retention(RetentionPolicy.RUNTIME)
@Inherited
@ExtendWith(InBridgeLoader.Extension.class)
@interface InBridgeLoader {
  /** Full names of classes that cannot be found. */
  String[] without() default {};

  /** A member that bears another name in every class. */
  String renaming() default "";

  /** Sends each test method to the same class in the other loader. */
  final class Extension implements InvocationInterceptor {
    @Override
    public void interceptTestMethod(
        Invocation<Void> invocation,
        ReflectiveInvocationContext<Method> method,
        ExtensionContext context)
        throws Throwable {
      interceptTestTemplateMethod(invocation, method, context);
    }

    @Override
    public void interceptTestTemplateMethod(
        Invocation<Void> skipped,
        ReflectiveInvocationContext<Method> invocation,
        ExtensionContext context)
        throws Throwable {
      skipped.skip();
      Class<?> testClass = context.getRequiredTestClass();
      BridgeLoader loader =
          context
              .getRoot()
              .getStore(ExtensionContext.Namespace.create(InBridgeLoader.class))
              .getOrComputeIfAbsent(testClass, Extension::loaderFor, BridgeLoader.class);
      Method original = invocation.getExecutable();
      Class<?> isolated = loader.loadClass(testClass.getName());
      Method test =
          loader
              .loadClass(original.getDeclaringClass().getName())
              .getDeclaredMethod(original.getName(), original.getParameterTypes());
      test.setAccessible(true);
      Constructor<?> constructor = isolated.getDeclaredConstructor();
      constructor.setAccessible(true);
      try {
        test.invoke(constructor.newInstance(), invocation.getArguments().toArray());
      } catch (InvocationTargetException e) {
        throw e.getCause();
      }
    }

    private static BridgeLoader loaderFor(Class<?> testClass) {
      InBridgeLoader wanted = testClass.getAnnotation(InBridgeLoader.class);
      return new BridgeLoader(Set.of(wanted.without())).renaming(wanted.renaming());
    }
  }
}
