# ZorvanSecurity. Everything is done by the scripts; this names them. `make help` lists the targets.

.DEFAULT_GOAL := help
.PHONY: help demo test test-asan test-windows windows faults bench fuzz format lint clean

help: ## this list
	@awk -F ':.*## ' '/^[a-z-]+:.*## / {printf "  make %-13s %s\n", $$1, $$2}' $(MAKEFILE_LIST)

demo: ## build, start the embedded domain, run a report through Java, print its rows
	@scripts/demo

test: ## build and pass every test (ONLY=Name: one JUnit class, nothing else)
	@scripts/test $(if $(ONLY),--only '$(ONLY)')

windows: ## cross-build the DLL and pack build/ZorvanSecurity-windows-x64.zip
	@scripts/build-windows

test-asan: ## run JUnit against the embedded domain with a library built with sanitizers
	@scripts/test --sanitized

test-windows: ## run unit tests and JUnit through the DLL under Wine, against the same domain
	@scripts/test-windows

faults: ## attack the command line with planted servers, and say what it did (WRITE=1: the table of docs/security.md too)
	@scripts/faults $(if $(WRITE),--write)

bench: ## measure against other LDAP clients and write bench/RESULTS.md
	@bench/run

fuzz: ## run each fuzz target for a minute (SECONDS=60)
	@scripts/fuzz $(SECONDS)

format: ## format C++ and Java
	@scripts/format

lint: ## check format, warnings of the linter and the shell scripts
	@scripts/lint

clean: ## remove everything that was built (the embedded domain included)
	@scripts/clean
