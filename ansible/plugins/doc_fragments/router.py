"""Options that all modules share."""


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  address:
    description:
      - Where the router's daemon listens, as HOST, HOST:PORT or tcp://HOST:PORT, an IPv6 host in brackets. The port is 7547
        unless it is given. A text with a slash is the path of a local socket.
      - By default the host's variable C(obx_address), then C(ansible_host), then its name in the inventory.
    type: str
  tls:
    description:
      - Whether the connection is encrypted and the router's certificate verified. By default it is, unless the address is a
        local socket. Variable C(obx_tls).
    type: bool
  ca_file:
    description:
      - The certificates that are trusted, in PEM form. By default variable C(obx_ca_file), then the environment's
        C(OBX_CA_FILE), then the system's store.
    type: path
  server_name:
    description:
      - The name that the router's certificate must be for, where it is not the host in I(address). Variable
        C(obx_server_name).
    type: str
  token:
    description:
      - The token that each request carries. It belongs into a vault or, rather, into I(token_file). Variable C(obx_token).
    type: str
  token_file:
    description:
      - A file that holds a token, or a login as LOGIN:PASSWORD, and that nobody else may read (mode 0600). By default
        variable C(obx_token_file), then the environment's C(OBX_AUTH_FILE). Not read where I(token) or I(username) is given.
    type: path
  username:
    description:
      - The user to log in as, where there is no token. Variable C(obx_username).
    type: str
  password:
    description:
      - The password of I(username). Variable C(obx_password).
    type: str
  timeout:
    description:
      - The seconds that connecting may take, and each exchange with the router. Variable C(obx_timeout).
    type: float
    default: 10.0
notes:
  - Runs on the controller, in Ansible's own process. The router needs no Python and no agent, and no connection plugin is
    used, so C(gather_facts) must be off for routers.
"""
