@call "%~dp0register.cmd" /u %*
