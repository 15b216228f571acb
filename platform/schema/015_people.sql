-- Who is logged in, and the keys of programs. What clients send is kept as a keyed hash. `login` is a
-- keyed hash of the user's name and password hash: with another password, rows of before are void.
CREATE TABLE session (
    id        serial PRIMARY KEY,
    token     text NOT NULL UNIQUE,
    user_id   integer NOT NULL,
    login     text NOT NULL,
    agent     text NOT NULL DEFAULT '',
    address   text NOT NULL DEFAULT '',
    made      timestamptz NOT NULL DEFAULT now(),
    last_used timestamptz NOT NULL DEFAULT now()
);
CREATE INDEX session_owner ON session (user_id);

CREATE TABLE access_key (
    id        serial PRIMARY KEY,
    token     text NOT NULL UNIQUE,
    user_id   integer NOT NULL,
    login     text NOT NULL,
    purpose   text NOT NULL DEFAULT '',
    secret    text NOT NULL,            -- the key, encrypted: some clients send only a digest of it
    made      timestamptz NOT NULL DEFAULT now(),
    last_used timestamptz
);
CREATE INDEX access_key_owner ON access_key (user_id);

-- Names with passwords that were right a moment ago, as keyed hashes, so that their slow hash is not
-- computed for each request. Lost with a crash of the server, which does no harm.
CREATE UNLOGGED TABLE verified_login (
    proof      text PRIMARY KEY,
    checked_at timestamptz NOT NULL DEFAULT now()
);

-- Wrong passwords, by name and network, as keyed hashes.
CREATE UNLOGGED TABLE failed_login (
    who      text PRIMARY KEY,
    failures integer NOT NULL,
    last     timestamptz NOT NULL DEFAULT now(),
    next     timestamptz NOT NULL DEFAULT now()  -- before it no other password is looked at
);
CREATE INDEX failed_login_last ON failed_login (last);
