# For people who want their machine left alone: everything that the tests and the packages take, in a
# container. The packages are those of scripts/install-deps.sh, which the tests ask too.
#
#   docker build -t ondrel-work .
#   docker run --rm -it -v "$PWD:/work" ondrel-work scripts/test.sh
#
# scripts/test.sh package makes a bare root inside, which takes --privileged.
FROM debian:12

COPY scripts/install-deps.sh /opt/install-deps.sh
RUN for purpose in test windows vm package; do \
    ONDREL_INSTALL=yes /opt/install-deps.sh "$purpose" || exit 1; \
  done \
  && git config --system --add safe.directory /work

WORKDIR /work
CMD ["scripts/test.sh", "quick"]
