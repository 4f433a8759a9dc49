# kelapp: the host application's Python packages.
