  $ . "$SESSION"
  $ shell() {
  >     sh "$SOURCES/tools/shell.sh" "$BUILD" "${PATH%%:*}"
  > }

The shell runs commands from a pipe beside a running simulator and ends with the status of the last command.

  $ printf 'qxagent-manage is_enabled\nexit 3\n' | shell
  {"services_status": true}
  [3]

On a terminal, the completions of all programs are loaded, and the shell leaves no history file.

  $ echo "complete -p qxagent-manage qxagent-wait qxbrokerd-sim >'$PWD/completions'; exit" >typed
  $ HOME=$PWD TERM=dumb script -qec "sh '$SOURCES/tools/shell.sh' '$BUILD' '${PATH%%:*}'" /dev/null <typed >screen
  $ cat completions
  complete -F _qxagent_manage qxagent-manage
  complete -F _qxagent_wait qxagent-wait
  complete -F _qxbrokerd_sim qxbrokerd-sim
  $ [ ! -e .bash_history ]

The pipe that receives the shell's output reaches EOF, so neither the simulator nor a background job is left. The
machine's /opt is untouched.

  $ echo 'sleep 1000 & pwd' | shell 2>&1 | cat
  /opt/tour
  $ ls -A /opt
