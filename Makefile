# The commands of README.md.
.PHONY: run test deb
run:
	scripts/run.sh
test:
	scripts/test.sh
deb:
	scripts/deb.sh
