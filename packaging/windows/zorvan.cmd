@echo off
rem Starts the command line with the Java of JAVA_HOME, or the one on the path.
setlocal
set java=java.exe
if defined JAVA_HOME set java=%JAVA_HOME%\bin\java.exe
rem For the run the console shows UTF-8, as it has every name. Its own code page comes last in what chcp says in any language.
set page=
for /f "tokens=2 delims=:." %%p in ('chcp 2^>nul') do set page=%%p
if defined page chcp 65001 >nul 2>&1
"%java%" -XX:+UseSerialGC -Djdk.console=java.base -jar "%~dp0zorvan-cli.jar" %*
set code=%ERRORLEVEL%
if defined page chcp %page% >nul 2>&1
exit /b %code%
