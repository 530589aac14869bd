; How long to water the beds of a garden, from fuzzy readings.
;
; Run it:
;     kbsh irrigation.clp --run
;
; A reading is a number, or words where nobody has measured. Each rule asserts a time as far as it applies; the times of
; a bed are merged into one fuzzy value, and its centre of gravity is what the valve is set to. In the end the values of
; one bed are plotted.

(deftype moisture "Of the soil" extends (type FUZZY)
  (range 0 100) (units percent)
  (values (term dry (z 15 45))
          (term moist (pi 45 25))
          (term wet (s 50 80))))

(deftype heat "Expected today" extends (type FUZZY)
  (range 0 40) (units "degrees C")
  (values (term cool ((10 1) (20 0)))
          (term mild (tri 12 20 28))
          (term hot ((22 0) (32 1)))))

(deftype minutes "Of water" extends (type FUZZY)
  (range 0 60)
  (values (term none (tri 0 0 6))
          (term short (tri 2 12 22))
          (term long (tri 18 30 42))
          (term very-long (tri 35 60 60))))

(deftemplate bed (slot name) (slot moisture (type moisture)) (slot needs (allowed-symbols little much)))
(deftemplate day (slot heat (type heat)))
(deftemplate water (slot bed) (slot minutes (type minutes)))

(deffacts garden
  (day (heat 27))
  (bed (name herbs) (moisture 42) (needs little))
  (bed (name beans) (moisture 28) (needs much))
  (bed (name roses) (moisture somewhat dry) (needs little))
  (bed (name pond) (moisture extremely wet) (needs much)))

(defrule wet
  (bed (name ?name) (moisture wet))
  =>
  (assert (water (bed ?name) (minutes none))))

(defrule moist-and-not-hot
  (bed (name ?name) (moisture moist))
  (day (heat not hot))
  =>
  (assert (water (bed ?name) (minutes short))))

(defrule moist-and-hot
  (bed (name ?name) (moisture moist) (needs much))
  (day (heat hot))
  =>
  (assert (water (bed ?name) (minutes long))))

(defrule dry
  (bed (name ?name) (moisture dry) (needs little))
  =>
  (assert (water (bed ?name) (minutes short shifted-by 5))))

(defrule dry-and-thirsty
  (bed (name ?name) (moisture dry) (needs much))
  =>
  (assert (water (bed ?name) (minutes long))))

(defrule dry-thirsty-and-hot
  (bed (name ?name) (moisture dry) (needs much))
  (day (heat mild or hot))
  =>
  (assert (water (bed ?name) (minutes very-long))))

(defrule tell
  (declare (salience -10))
  (water (bed ?name) (minutes ?minutes))
  =>
  (format t "%-6s %5.1f minutes  (%s)%n" ?name (moment-defuzzify ?minutes) ?minutes))

(defrule plot
  (declare (salience -20))
  (water (bed beans) (minutes ?minutes))
  =>
  (printout t crlf)
  (plot-fuzzy-value t "o." nil nil (create-fuzzy-value minutes very-long) ?minutes))
