@echo off
rem Starts the command line with the Java of JAVA_HOME, or the one on the path.
setlocal
set java=java.exe
if defined JAVA_HOME set java=%JAVA_HOME%\bin\java.exe
"%java%" -XX:+UseSerialGC -jar "%~dp0zorvan-cli.jar" %*
exit /b %ERRORLEVEL%
