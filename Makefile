# The two commands of README.md.
.PHONY: run test
run:
	scripts/run.sh
test:
	scripts/test.sh
