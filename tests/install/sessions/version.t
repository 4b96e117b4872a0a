  $ . "$SESSION"

Both programs contain a readable string with the version from CMakeLists.txt and the commit. The simulator prints the
string, and the tool logs it at level debug.

  $ version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$SOURCES/CMakeLists.txt")
  $ qxbrokerd-sim --version >printed
  $ sed "s/ $version / VERSION /" printed
  qxbrokerd-sim VERSION \(commit ([0-9a-f]{12}|unknown)\) (re)
  $ broker
  $ mkdir -p $root/var/log
  $ QXLOG_LEVEL=debug qxagent-manage enable
  $ log | sed -n 's/.*start()\]: //p' >logged
  $ sed s/qxagent-manage/qxbrokerd-sim/ logged | diff printed -
  $ strings "$BUILD/bin/qxbrokerd-sim" | grep ' (commit ' | diff printed -
  $ strings "$BUILD/bin/qxagent-manage" | grep ' (commit ' | diff logged -

The next build after a commit contains the new commit.

  $ git --version >git || skip "only the programs were checked: git is not installed"
  $ export GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a
  $ git init -q repository && cd repository
  $ mkdir cmake; echo build >.gitignore
  $ cp "$SOURCES"/cmake/commit.cmake "$SOURCES"/cmake/version.c* cmake
  $ cp "$SOURCES"/.gitattributes .
  $ echo '$Format:%H$' >cmake/commit.txt
  $ cat >CMakeLists.txt <<'.'
  > cmake_minimum_required(VERSION 3.25)
  > project(small VERSION 2.5.0 LANGUAGES NONE)
  > include(cmake/version.cmake)
  > add_custom_target(program)
  > qx_embed_version(program small)
  > .
  $ commit() { git add . && git commit -q --allow-empty -m "$1" && git rev-parse --short=12 HEAD >../commit; }
  $ embedded() { sed -n "s/.*\(small 2.5.0 [^)]*)\).*/\1/p" build/version.cpp | sed "s/$(cat ../commit)/COMMIT/"; }
  $ commit first
  $ cmake -G Ninja -S . -B build >configured && embedded
  small 2.5.0 (commit COMMIT)
  $ commit second
  $ ninja -C build >built && embedded
  small 2.5.0 (commit COMMIT)
  $ ninja -C build
  ninja: Entering directory `build'
  ninja: no work to do.

A build of a source archive contains the commit that the archive was made from. For a plain copy of the files, the
commit is unknown.

  $ mkdir ../archive ../copy
  $ git archive HEAD | tar -C ../archive -x
  $ cp -r CMakeLists.txt cmake ../copy
  $ for sources in archive copy; do cd ../$sources && cmake -G Ninja -S . -B build >configured && embedded; done
  small 2.5.0 (commit COMMIT)
  small 2.5.0 (commit unknown)
