/* The Si514 oscillator: I2C adapter 0 with its only client 0-0055, and the driver with ppb_offset. */
/* SPDX-License-Identifier: GPL-2.0-only */
#include <linux/i2c.h>
#include <linux/module.h>

#include "boardModule.h"

#define ADDRESS 0x55

static struct i2c_client *client;
static bool is_created;

static u32 functionality(struct i2c_adapter *adapter)
{
	return I2C_FUNC_SMBUS_BYTE_DATA;
}

/* The driver below calls the board directly, not through the bus. */
static int transfer(struct i2c_adapter *unused, struct i2c_msg *messages, int count)
{
	return -ENXIO;
}

static const struct i2c_algorithm algorithm = {
	.master_xfer = transfer,
	.functionality = functionality,
};

static struct i2c_adapter adapter = {
	.owner = THIS_MODULE,
	.name = "halvexboard",
	.algo = &algorithm,
};

static struct hx_call call_of(enum board_call_kind kind)
{
	return (struct hx_call){ .what = {
					 .kind = kind, .target = BOARD_TARGET_SI514, .file = BOARD_FILE_PPB_OFFSET } };
}

static ssize_t ppb_offset_show(struct device *device, struct device_attribute *attribute, char *text)
{
	struct hx_call call = call_of(BOARD_CALL_READ);

	if (hx_begin(&call))
		call.error = board_si514_show(call.board, call.raw_ns, text, PAGE_SIZE);
	return hx_end(&call);
}

static ssize_t ppb_offset_store(struct device *device, struct device_attribute *attribute, const char *text,
				size_t size)
{
	struct hx_call call = call_of(BOARD_CALL_WRITE);

	if (hx_begin(&call))
		call.error = board_si514_store(call.board, call.raw_ns, text, size);
	return hx_end(&call);
}
static DEVICE_ATTR_RW(ppb_offset);

static struct attribute *si514_attrs[] = { &dev_attr_ppb_offset.attr, NULL };
ATTRIBUTE_GROUPS(si514);

static int probe(struct i2c_client *found)
{
	return 0;
}

static const struct i2c_device_id ids[] = { { "si514", 0 }, {} };

static struct i2c_driver driver = {
	.driver = { .name = "si514", .dev_groups = si514_groups },
	.probe_new = probe,
	.id_table = ids,
};

int hx_oscillator_create(void)
{
	const struct i2c_board_info info = { I2C_BOARD_INFO("si514", ADDRESS) };
	int error = i2c_add_numbered_adapter(&adapter);

	if (error)
		return error;
	client = i2c_new_client_device(&adapter, &info);
	error = PTR_ERR_OR_ZERO(client);
	if (!error) {
		error = i2c_add_driver(&driver);
		if (error)
			i2c_unregister_device(client);
	}
	if (error)
		i2c_del_adapter(&adapter);
	is_created = !error;
	return error;
}

void hx_oscillator_destroy(void)
{
	if (!is_created)
		return;
	is_created = false;
	i2c_del_driver(&driver);
	i2c_unregister_device(client);
	i2c_del_adapter(&adapter);
}
