-- Clients name a pin by its id as text, and may name one by any text: as text it is compared, and
-- an id that is no number is merely not found.

ALTER TABLE pin
    ALTER COLUMN id DROP DEFAULT,
    ALTER COLUMN id TYPE text USING id::text,
    ALTER COLUMN id SET DEFAULT nextval('pin_id_seq')::text;
