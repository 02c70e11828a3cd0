# SPDX-License-Identifier: MIT
# bash completion for telvo-upload

# The hosts that ~/.netrc has a login for, and those that the shell knows from elsewhere.
_telvo_upload_target() {
  local user=
  [[ $cur != *@* ]] || user=${cur%@*}@
  _known_hosts_real -a -- "${cur#"$user"}"
  local hosts
  hosts=$(awk '{ for (i = 1; i < NF; ++i) if ($i == "machine") print $(i + 1) }' ~/.netrc 2>/dev/null)
  COMPREPLY=($(compgen -P "$user" -W "${COMPREPLY[*]} $hosts" -- "${cur#"$user"}"))
  compopt -o nospace
}

# How many words that are no options stand in front of the one that is being completed.
_telvo_upload_count() {
  local word i count=0 value=
  for ((i = 1; i < cword; ++i)); do
    word=${words[i]}
    if [[ $value ]]; then
      value=
    elif [[ $word == @(--user|--password-file|--exclude|--exclude-from|--limit-rate|--retries|--cache) ||
      $word == @(--security|--ca|--fingerprint|--certificate|--key) ]]; then
      value=yes
    elif [[ $word != -* ]]; then
      ((++count))
    fi
  done
  echo "$count"
}

_telvo_upload() {
  local cur prev words cword split
  _init_completion -s -n :@ || return

  case $prev in
    --password-file | --ca | --certificate | --key | --exclude-from | --cache)
      _filedir
      return
      ;;
    --security)
      COMPREPLY=($(compgen -W 'none tls implicit' -- "$cur"))
      return
      ;;
    --user | --fingerprint | --exclude | --limit-rate | --retries)
      return
      ;;
  esac
  $split && return

  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "--user --password-file --security --ca --fingerprint --certificate --key --exclude
      --exclude-from --delete --allow-empty-source -n --dry-run --limit-rate --retries --atomic --in-place --cache --no-cache -q --quiet -v --verbose --json --debug -h --help
      --version" -- "$cur"))
    return
  fi
  case $(_telvo_upload_count) in
    0) _filedir ;;
    1) _telvo_upload_target ;;
  esac
} && complete -F _telvo_upload telvo-upload
