  $ . "$SESSION"

Every build installs the tool and the simulator with their documents and completions. packages.t covers the library.

  $ cmake --install "$BUILD" --prefix "$PWD/prefix" >installed
  $ cd prefix
  $ find . -type f | grep -v -e "qx[_-]plix" -e /scenarios/ | sort
  ./bin/qxbrokerd-sim
  ./sbin/qxagent-manage
  ./sbin/qxagent-wait
  ./share/bash-completion/completions/qxagent-manage
  ./share/bash-completion/completions/qxagent-wait
  ./share/bash-completion/completions/qxbrokerd-sim
  ./share/doc/qxagent-manage/NOTICE
  ./share/doc/qxagent-manage/examples/qx-events.init
  ./share/doc/qxagent-manage/examples/qx-events.service
  ./share/doc/qxagent-manage/scripting.md
  ./share/doc/qxbrokerd-sim/NOTICE
  ./share/doc/qxbrokerd-sim/examples/qxbrokerd-sim.init
  ./share/doc/qxbrokerd-sim/simulator.md
  ./share/fish/vendor_completions.d/qxagent-manage.fish
  ./share/fish/vendor_completions.d/qxagent-wait.fish
  ./share/fish/vendor_completions.d/qxbrokerd-sim.fish
  ./share/man/man8/qxagent-manage.8
  ./share/man/man8/qxagent-wait.8
  ./share/man/man8/qxbrokerd-sim.8
  ./share/zsh/site-functions/_qxagent-manage
  ./share/zsh/site-functions/_qxagent-wait
  ./share/zsh/site-functions/_qxbrokerd-sim
  $ diff -r "$SOURCES/docs/scenarios" share/doc/qxbrokerd-sim/scenarios
