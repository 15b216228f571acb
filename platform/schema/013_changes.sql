SELECT 13;  -- change numbers
