-- Change numbers: a transaction that changes songs, playlists or a user's ratings adds random
-- tokens, and the number of a kind is the exclusive or of the tokens that are seen. A reader that
-- sees a number sees exactly the changes that make it up, and a database from a backup goes on with
-- numbers that no other has had. Writers only insert, so that none waits for another. Now and then
-- one puts the rows of a kind together into one, which leaves the number as it is; it skips rows
-- that another writer is putting together.
CREATE TABLE change (
    kind   text NOT NULL,       -- song, list or rating
    userid integer NOT NULL,    -- whose ratings; 0: everybody's
    token  bigint NOT NULL
);
CREATE INDEX change_kind ON change (kind, userid);

-- NULL where no change is known: then nothing can be told by the number.
CREATE FUNCTION change_number(of_kind text, of_user integer) RETURNS bigint
LANGUAGE sql STABLE AS $$
    SELECT bit_xor(token) FROM change WHERE kind = of_kind AND userid = of_user
$$;

CREATE FUNCTION add_change(of_kind text, of_user integer) RETURNS void LANGUAGE plpgsql AS $$
DECLARE
    new_token bigint := ('x' || left(md5(gen_random_uuid()::text), 16))::bit(64)::bigint;
BEGIN
    INSERT INTO change VALUES (of_kind, of_user, new_token);
    -- A stricter transaction would fail over rows that were put together after it began.
    IF new_token & 63 = 0 AND current_setting('transaction_isolation') = 'read committed' THEN
        WITH gone AS (
            DELETE FROM change WHERE ctid = ANY (ARRAY(
                SELECT ctid FROM change WHERE kind = of_kind AND userid = of_user
                    FOR UPDATE SKIP LOCKED))
            RETURNING token)
        INSERT INTO change SELECT of_kind, of_user, bit_xor(token) FROM gone HAVING count(*) > 0;
    END IF;
END
$$;

-- The kind is the trigger's argument.
CREATE FUNCTION note_change() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    PERFORM add_change(TG_ARGV[0], 0);
    RETURN NULL;
END
$$;

CREATE FUNCTION note_changed_rows() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    IF EXISTS (SELECT FROM changed) THEN
        PERFORM add_change(TG_ARGV[0], 0);
    END IF;
    RETURN NULL;
END
$$;

CREATE FUNCTION note_changed_ratings() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    PERFORM add_change('rating', userid) FROM (SELECT DISTINCT userid FROM changed) users;
    RETURN NULL;
END
$$;

-- A statement that changes no row is no change. Only where rows come in masses is that not asked.
DO $$
DECLARE
    place record;
    event text;
    rows text;
BEGIN
    FOR place IN SELECT * FROM (VALUES
        ('track', 'song', true), ('album_track', 'song', true), ('artist_track', 'song', true),
        ('composer_track', 'song', true), ('genre_track', 'song', true),
        ('virtual_info_track', 'song', true), ('replaygain_track', 'song', true),
        ('directory', 'song', false), ('personal_directory', 'song', false),
        ('playlist', 'list', false), ('personal_playlist', 'list', false),
        ('rating_track', 'rating', false)) places (name, kind, is_mass)
    LOOP
        EXECUTE format('CREATE TRIGGER note_truncate AFTER TRUNCATE ON %I FOR EACH STATEMENT '
                       'EXECUTE FUNCTION note_change(%L)', place.name,
                       replace(place.kind, 'rating', 'song'));
        IF place.is_mass THEN
            EXECUTE format('CREATE TRIGGER note_insert AFTER INSERT ON %I FOR EACH STATEMENT '
                           'EXECUTE FUNCTION note_change(%L)', place.name, place.kind);
        END IF;
        FOR event, rows IN VALUES ('INSERT', 'NEW'), ('UPDATE', 'NEW'), ('UPDATE', 'OLD'),
                                  ('DELETE', 'OLD')
        LOOP
            -- A rating may pass from one user to another.
            CONTINUE WHEN place.is_mass AND event = 'INSERT';
            CONTINUE WHEN place.kind <> 'rating' AND event = 'UPDATE' AND rows = 'OLD';
            EXECUTE format('CREATE TRIGGER note_%s_%s AFTER %s ON %I REFERENCING %s TABLE AS '
                           'changed FOR EACH STATEMENT EXECUTE FUNCTION %s',
                           lower(event), lower(rows), event, place.name, rows,
                           CASE place.kind WHEN 'rating' THEN 'note_changed_ratings()'
                                           ELSE format('note_changed_rows(%L)', place.kind) END);
        END LOOP;
    END LOOP;
    PERFORM add_change('song', 0), add_change('list', 0);
END
$$;
